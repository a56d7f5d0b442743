#pragma once

// Whether an allocation that cannot be met ends the process, as it does under the sanitizers that
// bring an allocator of their own, instead of throwing std::bad_alloc.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool failedAllocationIsFatal = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool failedAllocationIsFatal = true;
#else
inline constexpr bool failedAllocationIsFatal = false;
#endif
#else
inline constexpr bool failedAllocationIsFatal = false;
#endif

// Such builds are not hardened: their functions are looked up when they are first called.
inline constexpr bool bindsAtStart = !failedAllocationIsFatal;
