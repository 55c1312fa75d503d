#pragma once

namespace zol {

// A key for thread-local data; -1 means none.
using TLSKey = int;

// A new key whose values are given to `destructor` when their thread ends. -1, and an ERROR in the
// log, when the process has no key left.
TLSKey createTLSKey(void (*destructor)(void*));

} // namespace zol
