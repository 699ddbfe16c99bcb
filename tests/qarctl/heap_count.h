#pragma once

#include <cstddef>

/// Counts what the process holds on the heap through operator new, the libraries' share and the
/// allocator's own bytes included. Belongs into an executable, whose operator new every library
/// takes.
namespace heapcount {

/// Bytes held now, and the most that were held since the last ForgetPeak. Any thread may ask.
std::size_t Held();
std::size_t Peak();
void ForgetPeak();

}  // namespace heapcount
