// KSN_SANITIZED: built with a sanitizer that takes the fatal signals for itself, all but SIGABRT.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KSN_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KSN_SANITIZED
#endif
#endif
