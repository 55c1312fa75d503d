# 32-bit x86 on a 64-bit machine, with Debian's multilib compilers and the libraries of its foreign
# architecture i386 (scripts/setup --i386). Such programs run here: this is no cross compilation.
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig)
