#pragma once

namespace VarnelSpeech::Testing {

// Counts what the program asks of operator new, which AllocationCounter.cpp replaces, from its construction to its
// end. One at a time.
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    // Those of any code but the inference runtime's.
    int ownAllocations() const;
    // Those that come straight out of the runtime's library.
    int runtimeAllocations() const;
};

} // namespace VarnelSpeech::Testing
