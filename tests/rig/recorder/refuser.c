// A vendor library that never serves anything, and leaves traces of having tried.
#include <stdint.h>

__attribute__((visibility("default"))) int __glx_Main(uint32_t version, const void* exports,
                                                      void* vendor, void* imports) {
  (void)version, (void)exports, (void)vendor;
  void** const slots = imports;
  for (int i = 0; i < 4; ++i)
    slots[i] = imports;
  return 0;
}
