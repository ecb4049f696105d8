#include "support/TinyOnnxModels.h"

namespace VarnelSpeech::Testing::TinyOnnxModels {

OnnxModelBuilder identity(const OnnxModelBuilder::Shape& shape, OnnxElementType type) {
    return OnnxModelBuilder().input("x", shape, type).node("Identity", {"x"}, {"y"}).output("y", shape, type);
}

OnnxModelBuilder addition(const OnnxModelBuilder::Shape& shape, OnnxElementType type) {
    return OnnxModelBuilder()
        .input("a", shape, type)
        .input("b", shape, type)
        .node("Add", {"a", "b"}, {"sum"})
        .output("sum", shape, type);
}

OnnxModelBuilder recurrentStep(std::int64_t size) {
    const OnnxModelBuilder::Shape shape{2, 1, size};
    return OnnxModelBuilder()
        .input("x", shape)
        .input("h_in", shape)
        .input("c_in", shape)
        .constant("two", {1}, std::vector<float>{2.0F})
        .node("Mul", {"h_in", "two"}, {"doubled"})
        .node("Add", {"doubled", "x"}, {"driven"})
        .node("Add", {"driven", "c_in"}, {"h_out"})
        .node("Sub", {"h_in", "c_in"}, {"c_out"})
        .node("Add", {"h_in", "c_in"}, {"states"})
        .node("Add", {"states", "x"}, {"y"})
        .output("y", shape)
        .output("h_out", shape)
        .output("c_out", shape);
}

OnnxModelBuilder largest(std::int64_t size) {
    return OnnxModelBuilder()
        .input("x", {1, size})
        .node("ArgMax", {"x"}, {"position"}, {{"axis", std::int64_t{1}}, {"keepdims", std::int64_t{1}}})
        .node("Cast", {"position"}, {"index"}, {{"to", static_cast<std::int64_t>(OnnxElementType::int32)}})
        .node("ReduceMax", {"x"}, {"value"}, {{"axes", std::vector<std::int64_t>{1}}, {"keepdims", std::int64_t{1}}})
        .output("index", {1, 1}, OnnxElementType::int32)
        .output("value", {1, 1});
}

OnnxModelBuilder freeLength() {
    return OnnxModelBuilder()
        .input("x", {-1})
        .constant("two", {1}, std::vector<float>{2.0F})
        .node("Mul", {"x", "two"}, {"twice"})
        .node("ReduceSum", {"twice"}, {"total"}, {{"keepdims", std::int64_t{0}}})
        .output("twice", {-1})
        .output("total", {});
}

} // namespace VarnelSpeech::Testing::TinyOnnxModels
