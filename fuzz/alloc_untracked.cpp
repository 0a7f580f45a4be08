// libFuzzer builds: allocations are bounded by -malloc_limit_mb (scripts/fuzz.sh).
#include "fuzz.h"

bool fuzz_allocations_watched() {
  return false;
}
void fuzz_reset_largest_allocation() {}
size_t fuzz_largest_allocation() {
  return 0;
}
