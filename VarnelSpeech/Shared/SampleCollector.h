#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Collects the samples of a result whose length is not known for certain, within the result's own size and a few MiB:
// what comes beyond the expected length is kept in pages that go back to the system one by one as the result is put
// together.
class SampleCollector {
public:
    // Room for `expected` samples is reserved, and used only as it fills. 0: the length is unknown.
    explicit SampleCollector(std::size_t expected);
    ~SampleCollector();
    SampleCollector(const SampleCollector&) = delete;
    SampleCollector& operator=(const SampleCollector&) = delete;

    // Throws std::bad_alloc.
    void append(std::span<const float> samples);

    std::size_t size() const { return size_; }

    // Forgets all but the first `size` samples. Nothing may be appended after it.
    void truncate(std::size_t size);

    // The samples; the collector is empty then. Throws std::bad_alloc.
    std::vector<float> take();

private:
    struct Page;

    std::vector<float> samples_;
    std::vector<std::unique_ptr<Page>> pages_; // what found no room in samples_
    std::size_t size_ = 0;
};

} // namespace VarnelSpeech
