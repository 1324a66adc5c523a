#pragma once
// TW_TEST_SANITIZED: 1 in a build under AddressSanitizer or ThreadSanitizer, else 0. There memory
// and time figures mean nothing, and work that repeats the same code runs shorter: the tests say
// where and why.

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TW_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TW_TEST_SANITIZED 1
#endif
#endif
#ifndef TW_TEST_SANITIZED
#define TW_TEST_SANITIZED 0
#endif
