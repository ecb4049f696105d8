#include "VarnelSpeech/Shared/SampleCollector.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>
#include <utility>

namespace VarnelSpeech {

// Memory straight from the system: the heap would keep what is freed in its middle.
struct SampleCollector::Page {
    static constexpr std::size_t capacity = std::size_t{1} << 20U; // samples
    static constexpr std::size_t bytes = capacity * sizeof(float);

    float* samples;
    std::size_t size = 0;

    Page() {
        void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        samples = static_cast<float*>(memory);
    }

    ~Page() { munmap(samples, bytes); }

    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
};

SampleCollector::SampleCollector(std::size_t expected) {
    try {
        samples_.reserve(expected);
    } catch (const std::exception&) {
        // The expectation may be wrong: what really comes may still find room.
    }
}

SampleCollector::~SampleCollector() = default;

void SampleCollector::append(std::span<const float> samples) {
    if (pages_.empty() && samples.size() <= samples_.capacity() - samples_.size()) {
        samples_.insert(samples_.end(), samples.begin(), samples.end());
        size_ += samples.size();
        return;
    }
    while (!samples.empty()) {
        if (pages_.empty() || pages_.back()->size == Page::capacity)
            pages_.push_back(std::make_unique<Page>());
        Page& page = *pages_.back();
        const std::size_t count = std::min(samples.size(), Page::capacity - page.size);
        std::copy_n(samples.data(), count, page.samples + page.size);
        page.size += count;
        size_ += count;
        samples = samples.subspan(count);
    }
}

void SampleCollector::truncate(std::size_t size) {
    size_ = std::min(size_, size);
}

std::vector<float> SampleCollector::take() {
    std::vector<float> result = std::exchange(samples_, {});
    if (!pages_.empty()) {
        result.reserve(std::max(size_, result.size()));
        for (std::unique_ptr<Page>& page : pages_) {
            result.insert(result.end(), page->samples,
                          page->samples + std::min(page->size, result.capacity() - result.size()));
            page.reset();
        }
        pages_.clear();
    }
    result.resize(std::exchange(size_, 0));
    return result;
}

} // namespace VarnelSpeech
