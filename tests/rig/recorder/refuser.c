// A vendor library that never serves anything.
#include <stdint.h>

__attribute__((visibility("default"))) int __glx_Main(uint32_t version, const void* exports,
                                                      void* vendor, void* imports) {
  (void)version, (void)exports, (void)vendor, (void)imports;
  return 0;
}
