// Huge pages for large blocks.
#pragma once

#include <cstddef>

namespace vex::service {

// Asks the kernel to back the 2 MiB pages that lie wholly inside a block with huge pages. Nothing happens for
// smaller blocks, nor where the kernel does not take the advice.
void advise_huge_pages(void* start, std::size_t bytes);

}  // namespace vex::service
