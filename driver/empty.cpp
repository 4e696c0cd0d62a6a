// Holds the driver target open until its rooms stand.
