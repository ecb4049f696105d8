// The decode loop against the bare runtime calls that it made: the same calls in the same order on tensors bound
// beforehand, with the same frame copies. Usage: bench_decode [MODELS] [AUDIO]
//
// Processor time of the calling thread, on which both run whole. The two alternate, each going first every other
// round. Where the runtime puts a session's weights moves the figures by some percent either way, so that both load
// their networks anew several times; the ratio is the median of those times' ratios of medians.
#include "VarnelSpeech/Asr/AsrManager.h"
#include "VarnelSpeech/Asr/EncoderFrameView.h"
#include "VarnelSpeech/Asr/TdtDecoderV3.h"
#include "VarnelSpeech/Inference/OnnxSession.h"
#include "VarnelSpeech/Shared/AudioConverter.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <vector>

using namespace VarnelSpeech;

namespace {

constexpr std::int64_t frameCount = 188;
constexpr std::int64_t hiddenSize = 1024;
constexpr int loads = 9;
constexpr int rounds = 60; // of each load

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

MLModelConfiguration smallNetwork() {
    return {MLComputeUnits::cpuOnly, false, MLThreading::callingThread};
}

// One call of a network, as a decode made it.
struct Step {
    enum class Network { decoder, joint } network;
    int argument = 0; // the token, or the frame
};

// Passes calls on and notes them.
class RecordingModel final : public MLModel {
public:
    RecordingModel(MLModel& model, std::function<void(const MLFeatureProvider&)> note)
        : model_(model), note_(std::move(note)) {}

    const MLModelDescription& modelDescription() const override { return model_.modelDescription(); }

    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                        const MLPredictionOptions& options) override {
        note_(input);
        return model_.prediction(input, options);
    }

private:
    MLModel& model_;
    std::function<void(const MLFeatureProvider&)> note_;
};

TdtHypothesis decode(const std::shared_ptr<MLMultiArray>& encoded, MLModel& decoder, MLModel& joint,
                     TdtDecoderState& state) {
    state.reset();
    return TdtDecoderV3({}).decodeWithTimings(encoded, frameCount, frameCount, decoder, joint, state);
}

int frameOf(const EncoderFrameView& frames, const MLMultiArray& step) {
    std::array<float, hiddenSize> values{};
    for (std::int64_t frame = 0; frame < frames.count(); ++frame) {
        frames.copyFrame(frame, values.data(), 1);
        if (std::memcmp(values.data(), step.data<float>(), sizeof(values)) == 0) {
            return static_cast<int>(frame);
        }
    }
    throw std::runtime_error("a joint call has a frame that is none of the encoder's");
}

std::vector<Step> record(const std::shared_ptr<MLMultiArray>& encoded, MLModel& decoder, MLModel& joint) {
    std::vector<Step> steps;
    const EncoderFrameView frames(encoded, frameCount);
    RecordingModel recordedDecoder(decoder, [&](const MLFeatureProvider& input) {
        steps.push_back({Step::Network::decoder, input.featureValue("targets")->data<std::int32_t>()[0]});
    });
    RecordingModel recordedJoint(joint, [&](const MLFeatureProvider& input) {
        steps.push_back({Step::Network::joint, frameOf(frames, *input.featureValue("encoder_step"))});
    });
    TdtDecoderState state;
    decode(encoded, recordedDecoder, recordedJoint, state);
    return steps;
}

// A session with its tensors bound once and for all.
class BareNetwork {
public:
    explicit BareNetwork(const std::filesystem::path& network) : session_(OnnxSession::open(network, smallNetwork())) {
        for (const OnnxPort& port : session_.inputs) {
            inputNames_.push_back(port.name.c_str());
        }
        for (const OnnxPort& port : session_.outputs) {
            outputNames_.push_back(port.name.c_str());
        }
    }

    using Values = std::vector<Ort::Value>;
    using Memory = std::function<void*(const std::string&)>;

    Values bindInputs(const Memory& memory) const { return bind(session_.inputs, memory); }

    Values bindOutputs(const Memory& memory) const { return bind(session_.outputs, memory); }

    void run(const Values& inputs, Values& outputs) {
        session_.session.Run(Ort::RunOptions{nullptr}, inputNames_.data(), inputs.data(), inputs.size(),
                             outputNames_.data(), outputs.data(), outputs.size());
    }

private:
    static Values bind(const std::vector<OnnxPort>& ports, const Memory& memory) {
        const Ort::MemoryInfo info = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
        Values values;
        for (const OnnxPort& port : ports) {
            const MLShape& shape = port.description.shape;
            std::size_t bytes = elementSize(port.description.dataType);
            for (const std::int64_t size : shape) {
                bytes *= static_cast<std::size_t>(size);
            }
            values.push_back(Ort::Value::CreateTensor(info, memory(port.name), bytes, shape.data(), shape.size(),
                                                      runtimeType(port.description.dataType)));
        }
        return values;
    }

    OnnxSession session_;
    std::vector<const char*> inputNames_;
    std::vector<const char*> outputNames_;
};

// The recorded calls and nothing else. The state's two pairs of buffers take turns.
class Replay {
public:
    Replay(const std::filesystem::path& models)
        : decoder_(models / "Decoder.mlmodelc" / "model.onnx"),
          joint_(models / "JointDecision.mlmodelc" / "model.onnx"),
          jointInputs_(joint_.bindInputs([this](const std::string& name) -> void* {
              return name == "encoder_step" ? static_cast<void*>(encoderStep_.data()) : decoderStep_.data();
          })),
          jointOutputs_(joint_.bindOutputs([this](const std::string& name) -> void* {
              return name == "token_id"   ? static_cast<void*>(&tokenId_)
                     : name == "duration" ? static_cast<void*>(&duration_)
                                          : &probability_;
          })) {
        for (const std::size_t turn : {0U, 1U}) {
            decoderInputs_[turn] = decoder_.bindInputs([&](const std::string& name) -> void* {
                return name == "targets"         ? static_cast<void*>(&target_)
                       : name == "target_length" ? static_cast<void*>(&targetLength_)
                       : name == "h_in"          ? hidden_[turn].data()
                                                 : cell_[turn].data();
            });
            decoderOutputs_[turn] = decoder_.bindOutputs([&](const std::string& name) -> void* {
                return name == "h_out"   ? hidden_[1 - turn].data()
                       : name == "c_out" ? cell_[1 - turn].data()
                                         : decoderStep_.data();
            });
        }
    }

    void run(const std::vector<Step>& steps, const EncoderFrameView& frames) {
        for (auto* state : {&hidden_, &cell_}) {
            (*state)[0].fill(0.0F);
        }
        std::size_t turn = 0;
        tokens_.clear();
        for (const Step& step : steps) {
            if (step.network == Step::Network::decoder) {
                target_ = step.argument;
                decoder_.run(decoderInputs_[turn], decoderOutputs_[turn]);
                turn = 1 - turn;
            } else {
                frames.copyFrame(step.argument, encoderStep_.data(), 1);
                joint_.run(jointInputs_, jointOutputs_);
                tokens_.push_back(tokenId_);
            }
        }
    }

    // What each joint call said.
    const std::vector<std::int32_t>& tokens() const { return tokens_; }

private:
    BareNetwork decoder_;
    BareNetwork joint_;
    alignas(64) std::array<float, hiddenSize> encoderStep_{};
    alignas(64) std::array<float, 640> decoderStep_{};
    alignas(64) std::array<std::array<float, 1280>, 2> hidden_{};
    alignas(64) std::array<std::array<float, 1280>, 2> cell_{};
    std::int32_t target_ = 0;
    std::int32_t targetLength_ = 1;
    std::int32_t tokenId_ = 0;
    std::int32_t duration_ = 0;
    float probability_ = 0;
    BareNetwork::Values jointInputs_;
    BareNetwork::Values jointOutputs_;
    std::array<BareNetwork::Values, 2> decoderInputs_;
    std::array<BareNetwork::Values, 2> decoderOutputs_;
    std::vector<std::int32_t> tokens_;
};

// The encoder's output for the first window of a file.
std::shared_ptr<MLMultiArray> encodeFile(const std::filesystem::path& models, const std::filesystem::path& file) {
    std::vector<float> samples = AudioConverter().resampleAudioFile(file);
    constexpr std::size_t window = ASRConstants::maxModelSamples;
    const auto length = static_cast<std::int32_t>(std::min(samples.size(), window));
    samples.resize(window);
    auto signal = MLMultiArray::make({1, static_cast<std::int64_t>(window)}, MLMultiArrayDataType::float32);
    std::copy(samples.begin(), samples.end(), signal->data<float>());
    auto lengthArray = MLMultiArray::make({1}, MLMultiArrayDataType::int32);
    lengthArray->data<std::int32_t>()[0] = length;
    const auto preprocessor = loadModel(models / "Preprocessor.mlmodelc", {});
    const auto encoder = loadModel(models / "Encoder.mlmodelc", {});
    const auto mel = preprocessor->prediction(
        MLDictionaryFeatureProvider({{"audio_signal", signal}, {"audio_length", lengthArray}}));
    return encoder->prediction(*mel)->featureValue("encoder");
}

std::shared_ptr<MLMultiArray> synthetic() {
    std::mt19937 random(7);
    std::normal_distribution<float> value(-4.0F, 3.0F);
    auto encoded = MLMultiArray::make({1, frameCount, hiddenSize}, MLMultiArrayDataType::float32);
    std::generate_n(encoded->data<float>(), frameCount * hiddenSize, [&] { return value(random); });
    return encoded;
}

std::shared_ptr<MLMultiArray> transposed(const MLMultiArray& encoded) {
    const MLShape& shape = encoded.shape();
    auto result = MLMultiArray::make({1, shape[2], shape[1]}, MLMultiArrayDataType::float32);
    for (std::int64_t row = 0; row < shape[1]; ++row) {
        for (std::int64_t column = 0; column < shape[2]; ++column) {
            result->data<float>()[column * shape[1] + row] = encoded.data<float>()[row * shape[2] + column];
        }
    }
    return result;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Times {
    double loop = 0; // seconds, medians
    double bare = 0;
    std::size_t tokens = 0;
    std::vector<Step> steps;
};

double timed(const std::function<void()>& work) {
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

Times measureOnce(const std::filesystem::path& models, const std::shared_ptr<MLMultiArray>& encoded, int load) {
    // Who loads first has the other's neighbourhood in memory the next time.
    std::unique_ptr<Replay> replay;
    if (load % 2 == 1) {
        replay = std::make_unique<Replay>(models);
    }
    const auto decoder = loadModel(models / "Decoder.mlmodelc", smallNetwork());
    const auto joint = loadModel(models / "JointDecision.mlmodelc", smallNetwork());
    if (!replay) {
        replay = std::make_unique<Replay>(models);
    }
    Times times;
    times.steps = record(encoded, *decoder, *joint);
    const EncoderFrameView frames(encoded, frameCount);
    TdtDecoderState state;
    std::vector<double> loop;
    std::vector<double> bare;
    const auto runLoop = [&] {
        loop.push_back(timed([&] { times.tokens = decode(encoded, *decoder, *joint, state).tokenIds.size(); }));
    };
    const auto runBare = [&] { bare.push_back(timed([&] { replay->run(times.steps, frames); })); };
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            runLoop();
            runBare();
        } else {
            runBare();
            runLoop();
        }
    }
    const auto heard = std::count_if(replay->tokens().begin(), replay->tokens().end(),
                                     [](std::int32_t token) { return token != TdtConfig().blankId; });
    if (static_cast<std::size_t>(heard) < times.tokens) {
        throw std::runtime_error("the replay did not hear what the decoder heard");
    }
    times.loop = median(loop);
    times.bare = median(bare);
    return times;
}

void measure(const char* layout, const std::filesystem::path& models, const std::shared_ptr<MLMultiArray>& encoded) {
    std::vector<double> ratios;
    std::vector<double> loop;
    std::vector<double> bare;
    Times times;
    for (int load = 0; load < loads; ++load) {
        times = measureOnce(models, encoded, load);
        loop.push_back(times.loop);
        bare.push_back(times.bare);
        ratios.push_back(times.loop / times.bare);
    }
    const auto decoderCalls = std::count_if(times.steps.begin(), times.steps.end(),
                                            [](const Step& step) { return step.network == Step::Network::decoder; });
    const auto [lowest, highest] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-13s %3zu tokens, %3td decoder and %3td joint calls: loop %8.1f us, bare calls %8.1f us, "
                "ratio %.4f (%.4f to %.4f)\n",
                layout, times.tokens, decoderCalls, static_cast<std::ptrdiff_t>(times.steps.size()) - decoderCalls,
                median(loop) * 1e6, median(bare) * 1e6, median(ratios), *lowest, *highest);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::filesystem::path models =
            argc > 1 ? argv[1] : VARNEL_SOURCE_DIR "/models/starter/parakeet-tdt-0.6b-v3-coreml";
        const auto encoded = argc > 2 ? encodeFile(models, argv[2]) : synthetic();
        std::printf("decodeWithTimings over %d frames of %s, %d rounds on each of %d loads (processor time)\n",
                    static_cast<int>(frameCount), argc > 2 ? "speech" : "synthetic encoder output", rounds, loads);
        const bool isTimeFirst = encoded->shape()[2] == hiddenSize;
        const auto other = transposed(*encoded);
        measure("[1, T, 1024]", models, isTimeFirst ? encoded : other);
        measure("[1, 1024, T]", models, isTimeFirst ? other : encoded);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_decode: %s\n", error.what());
        return 1;
    }
}
