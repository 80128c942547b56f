#pragma once
// Whether this build runs under AddressSanitizer or ThreadSanitizer: there a recording is ten to
// twenty times slower, so the longest loops take a sample instead of every case.

namespace zerva::testing {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kUnderSanitizers = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kUnderSanitizers = true;
#else
inline constexpr bool kUnderSanitizers = false;
#endif
#else
inline constexpr bool kUnderSanitizers = false;
#endif

}  // namespace zerva::testing
