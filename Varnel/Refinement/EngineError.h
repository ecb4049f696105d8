#pragma once

#include <stdexcept>

namespace Varnel {

// The transcription engine's own failure.
class EngineError : public std::runtime_error {
public:
    enum class Case {
        modelsNotLoaded = 1, // the recogniser's models could not be loaded in this process
    };

    explicit EngineError(Case error) : std::runtime_error("ASR models not loaded"), error_(error) {}

    Case error() const { return error_; }

    int code() const { return static_cast<int>(error_); }

    static constexpr const char* domain() { return "TranscriptionEngine"; }

private:
    Case error_;
};

} // namespace Varnel
