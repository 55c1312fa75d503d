#pragma once

// ZOL_SANITIZED is defined in builds with the address or the thread sanitizer, by GCC or clang.

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZOL_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZOL_SANITIZED 1
#endif
