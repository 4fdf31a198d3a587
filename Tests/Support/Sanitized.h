// Whether a program is watched by a sanitizer, which takes memory and time of its own.
#pragma once

// Compilers say it in two ways.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KZ_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KZ_SANITIZED
#endif
