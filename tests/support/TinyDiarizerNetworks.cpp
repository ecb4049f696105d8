#include "support/TinyDiarizerNetworks.h"

namespace VarnelSpeech::Testing::TinyDiarizerNetworks {

namespace {

using Shape = OnnxModelBuilder::Shape;
constexpr std::int64_t frameCount = 592;

} // namespace

OnnxModelBuilder constant(const std::vector<Input>& inputs, const std::string& output, const Shape& shape) {
    OnnxModelBuilder builder;
    for (const Input& input : inputs)
        builder.input(input.name, input.shape, input.type);
    std::size_t count = 1;
    for (const std::int64_t size : shape)
        count *= static_cast<std::size_t>(size);
    return builder.constant("zeros", shape, std::vector<float>(count))
        .node("Identity", {"zeros"}, {output})
        .output(output, shape);
}

// The audio takes part with a weight of zero, so that nothing is left out of the graph.
OnnxModelBuilder segmentation() {
    std::vector<float> scores(static_cast<std::size_t>(frameCount) * 7);
    for (std::size_t frame = 0; frame < static_cast<std::size_t>(frameCount); ++frame)
        scores[frame * 7 + (frame < static_cast<std::size_t>(frameCount) / 2 ? 1 : 2)] = 1;
    return OnnxModelBuilder()
        .input("audio", {1, 1, 160000})
        .constant("zero", {1}, std::vector<float>{0})
        .constant("scores", {1, frameCount, 7}, scores)
        .node("ReduceMean", {"audio"}, {"mean"}, {{"axes", Shape{2}}, {"keepdims", std::int64_t{1}}})
        .node("Mul", {"mean", "zero"}, {"nothing"})
        .node("Add", {"nothing", "scores"}, {"segments"})
        .output("segments", {1, frameCount, 7});
}

OnnxModelBuilder embedding(std::int64_t frames) {
    std::vector<float> place(static_cast<std::size_t>(frameCount) * 256);
    for (std::size_t frame = 0; frame < static_cast<std::size_t>(frameCount); ++frame)
        for (std::size_t value = 0; value < 256; ++value)
            place[frame * 256 + value] = (frame < static_cast<std::size_t>(frameCount) / 2) == (value < 128) ? 1 : 0;
    return OnnxModelBuilder()
        .input("waveform", {3, 160000})
        .input("mask", {3, frames})
        .constant("zero", {1}, std::vector<float>{0})
        .constant("place", {frameCount, 256}, place)
        .node("ReduceMean", {"waveform"}, {"mean"}, {{"axes", Shape{1}}, {"keepdims", std::int64_t{1}}})
        .node("Mul", {"mean", "zero"}, {"nothing"})
        .node("MatMul", {"mask", "place"}, {"placed"})
        .node("Add", {"nothing", "placed"}, {"embedding"})
        .output("embedding", {3, 256});
}

} // namespace VarnelSpeech::Testing::TinyDiarizerNetworks
