#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace VarnelSpeech::Testing {

// ONNX's numbers of the element types.
enum class OnnxElementType { float32 = 1, int32 = 6, int64 = 7, boolean = 9, float16 = 10, float64 = 11 };

// Writes small networks in the ONNX format, so that tests run on the real runtime without files from elsewhere:
//
//     OnnxModelBuilder()
//         .input("x", {1, 4})
//         .constant("two", {1}, {2.0F})
//         .node("Mul", {"x", "two"}, {"y"})
//         .output("y", {1, 4})
//         .writeBundle(folder / "Double.mlmodelc");
//
// Nodes come in the order of computation. A dimension of -1 is not fixed. Opset 13 unless told otherwise.
class OnnxModelBuilder {
public:
    using Shape = std::vector<std::int64_t>;
    using AttributeValue = std::variant<std::int64_t, float, std::string, std::vector<std::int64_t>>;
    using Attributes = std::vector<std::pair<std::string, AttributeValue>>;

    OnnxModelBuilder& input(const std::string& name, const Shape& shape,
                            OnnxElementType type = OnnxElementType::float32);
    OnnxModelBuilder& output(const std::string& name, const Shape& shape,
                             OnnxElementType type = OnnxElementType::float32);

    // Weights. An empty shape is a scalar.
    OnnxModelBuilder& constant(const std::string& name, const Shape& shape, const std::vector<float>& values);
    OnnxModelBuilder& constant(const std::string& name, const Shape& shape, const std::vector<std::int32_t>& values);
    OnnxModelBuilder& constant(const std::string& name, const Shape& shape, const std::vector<std::int64_t>& values);

    // Weights that lie in the file "weights.bin" beside the network; such a network only works as a bundle.
    OnnxModelBuilder& externalConstant(const std::string& name, const Shape& shape, const std::vector<float>& values);

    OnnxModelBuilder& node(const std::string& operation, const std::vector<std::string>& inputs,
                           const std::vector<std::string>& outputs, const Attributes& attributes = {});

    OnnxModelBuilder& opset(int version);

    // The network as the content of "model.onnx".
    std::string bytes() const;

    // Creates or fills a bundle directory: "model.onnx", the file of the external weights if there are any, and a
    // manifest with their sizes and sums.
    void writeBundle(const std::filesystem::path& directory) const;

private:
    OnnxModelBuilder& addInitializer(const std::string& name, const Shape& shape, OnnxElementType type,
                                     const void* values, std::size_t count, std::size_t bytes);

    std::string graph_; // encoded members, in the order they came
    std::string external_;
    int opset_ = 13;
};

// Writes the manifest "coremldata.bin" of a bundle over the files named (paths inside the directory, which exist), for
// tests that put a bundle together or change a file and want the sums right again.
void writeBundleManifest(const std::filesystem::path& directory, const std::vector<std::string>& files, int opset = 13);

} // namespace VarnelSpeech::Testing
