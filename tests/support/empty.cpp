// Keeps the support library non-empty when no helper needs a source of its own.
