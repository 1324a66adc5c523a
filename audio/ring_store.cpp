#include "audio/ring_store.h"

#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#define TW_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TW_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(TW_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

namespace tw::audio {

void* mapResidentPages(std::size_t bytes) {
    // Anonymous pages are zeroed; MAP_POPULATE brings them all in with this call instead of one
    // fault each at the first write.
    void* pages = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

void unmapPages(void* pages, std::size_t bytes) {
    ::munmap(pages, bytes);
}

void poisonPages([[maybe_unused]] const void* pages, [[maybe_unused]] std::size_t bytes) {
#if defined(TW_ADDRESS_SANITIZER)
    ASAN_POISON_MEMORY_REGION(pages, bytes);
#endif
}

void unpoisonPages([[maybe_unused]] const void* pages, [[maybe_unused]] std::size_t bytes) {
#if defined(TW_ADDRESS_SANITIZER)
    ASAN_UNPOISON_MEMORY_REGION(pages, bytes);
#endif
}

}  // namespace tw::audio
