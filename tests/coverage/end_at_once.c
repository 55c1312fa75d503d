// What the tests ran of src/ is written down when a program exits. Here also when it ends at once.
#include <gcov.h>
#include <stdlib.h>
#include <unistd.h>

_Noreturn void __real__exit(int status);
_Noreturn void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}

_Noreturn void __real__Exit(int status);
_Noreturn void __wrap__Exit(int status) {
  __gcov_dump();
  __real__Exit(status);
}
