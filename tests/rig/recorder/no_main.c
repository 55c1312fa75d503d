// A library that has a vendor library's name and nothing of what makes one.
__attribute__((visibility("default"))) int zolRigNothing(void) {
  return 0;
}
