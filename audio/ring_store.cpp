#include "audio/ring_store.h"

#include <sanitizer/asan_interface.h>  // its macros do nothing without AddressSanitizer
#include <sys/mman.h>

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

void poisonPages(const void* pages, std::size_t bytes) {
    ASAN_POISON_MEMORY_REGION(pages, bytes);
}

void unpoisonPages(const void* pages, std::size_t bytes) {
    ASAN_UNPOISON_MEMORY_REGION(pages, bytes);
}

}  // namespace tw::audio
