#include "support/OnnxModelBuilder.h"

#include "VarnelSpeech/Inference/FileDigest.h"
#include "VarnelSpeech/Inference/ModelBundle.h"
#include "support/ProtobufWriter.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <stdexcept>

namespace VarnelSpeech::Testing {
namespace {

constexpr const char* externalFile = "weights.bin";

// Field numbers of onnx.proto.
namespace Model {
constexpr int irVersion = 1, producerName = 2, graph = 7, opsetImport = 8;
}

namespace OperatorSet {
constexpr int version = 2;
}

namespace Graph {
constexpr int node = 1, name = 2, initializer = 5, input = 11, output = 12;
}

namespace Node {
constexpr int input = 1, output = 2, operation = 4, attribute = 5;
}

namespace Attribute {
constexpr int name = 1, real = 2, integer = 3, text = 4, integers = 8, type = 20;
constexpr int typeReal = 1, typeInteger = 2, typeText = 3, typeIntegers = 7;
} // namespace Attribute

namespace Tensor {
constexpr int dimensions = 1, dataType = 2, name = 8, rawData = 9, externalData = 13, dataLocation = 14;
constexpr int locationExternal = 1;
} // namespace Tensor

namespace ValueInfo {
constexpr int name = 1, type = 2;
}

namespace Type {
constexpr int tensor = 1, elementType = 1, shape = 2, dimension = 1, dimensionValue = 1, dimensionName = 2;
}

ProtobufWriter valueInfo(const std::string& name, const OnnxModelBuilder::Shape& shape, OnnxElementType type) {
    ProtobufWriter dimensions;
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        ProtobufWriter dimension;
        if (shape[axis] < 0)
            dimension.text(Type::dimensionName, name + "_" + std::to_string(axis));
        else
            dimension.integer(Type::dimensionValue, shape[axis]);
        dimensions.message(Type::dimension, dimension);
    }
    ProtobufWriter tensor;
    tensor.integer(Type::elementType, static_cast<int>(type)).message(Type::shape, dimensions);
    ProtobufWriter info;
    info.text(ValueInfo::name, name).message(ValueInfo::type, ProtobufWriter().message(Type::tensor, tensor));
    return info;
}

ProtobufWriter attribute(const std::string& name, const OnnxModelBuilder::AttributeValue& value) {
    ProtobufWriter writer;
    writer.text(Attribute::name, name);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        writer.integer(Attribute::integer, *integer).integer(Attribute::type, Attribute::typeInteger);
    } else if (const auto* real = std::get_if<float>(&value)) {
        writer.real(Attribute::real, *real).integer(Attribute::type, Attribute::typeReal);
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        writer.text(Attribute::text, *text).integer(Attribute::type, Attribute::typeText);
    } else {
        for (const std::int64_t element : std::get<std::vector<std::int64_t>>(value))
            writer.integer(Attribute::integers, element);
        writer.integer(Attribute::type, Attribute::typeIntegers);
    }
    return writer;
}

ProtobufWriter keyAndValue(const std::string& key, const std::string& value) {
    return ProtobufWriter().text(1, key).text(2, value);
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + path.native());
}

std::size_t count(const OnnxModelBuilder::Shape& shape) {
    std::int64_t product = 1;
    for (const std::int64_t size : shape)
        product *= size;
    return static_cast<std::size_t>(product);
}

} // namespace

OnnxModelBuilder& OnnxModelBuilder::input(const std::string& name, const Shape& shape, OnnxElementType type) {
    graph_ += ProtobufWriter().message(Graph::input, valueInfo(name, shape, type)).bytes();
    return *this;
}

OnnxModelBuilder& OnnxModelBuilder::output(const std::string& name, const Shape& shape, OnnxElementType type) {
    graph_ += ProtobufWriter().message(Graph::output, valueInfo(name, shape, type)).bytes();
    return *this;
}

OnnxModelBuilder& OnnxModelBuilder::addInitializer(const std::string& name, const Shape& shape, OnnxElementType type,
                                                   const void* values, std::size_t valueCount, std::size_t bytes) {
    if (valueCount != count(shape))
        throw std::logic_error("the constant '" + name + "' has another number of values than its shape");
    ProtobufWriter tensor;
    for (const std::int64_t size : shape)
        tensor.integer(Tensor::dimensions, size);
    tensor.integer(Tensor::dataType, static_cast<int>(type))
        .text(Tensor::name, name)
        .text(Tensor::rawData, {static_cast<const char*>(values), bytes});
    graph_ += ProtobufWriter().message(Graph::initializer, tensor).bytes();
    return *this;
}

OnnxModelBuilder& OnnxModelBuilder::constant(const std::string& name, const Shape& shape,
                                             const std::vector<float>& values) {
    return addInitializer(name, shape, OnnxElementType::float32, values.data(), values.size(),
                          values.size() * sizeof(float));
}

OnnxModelBuilder& OnnxModelBuilder::constant(const std::string& name, const Shape& shape,
                                             const std::vector<std::int32_t>& values) {
    return addInitializer(name, shape, OnnxElementType::int32, values.data(), values.size(),
                          values.size() * sizeof(std::int32_t));
}

OnnxModelBuilder& OnnxModelBuilder::constant(const std::string& name, const Shape& shape,
                                             const std::vector<std::int64_t>& values) {
    return addInitializer(name, shape, OnnxElementType::int64, values.data(), values.size(),
                          values.size() * sizeof(std::int64_t));
}

OnnxModelBuilder& OnnxModelBuilder::externalConstant(const std::string& name, const Shape& shape,
                                                     const std::vector<float>& values) {
    const std::size_t length = values.size() * sizeof(float);
    ProtobufWriter tensor;
    for (const std::int64_t size : shape)
        tensor.integer(Tensor::dimensions, size);
    tensor.integer(Tensor::dataType, static_cast<int>(OnnxElementType::float32))
        .text(Tensor::name, name)
        .message(Tensor::externalData, keyAndValue("location", externalFile))
        .message(Tensor::externalData, keyAndValue("offset", std::to_string(external_.size())))
        .message(Tensor::externalData, keyAndValue("length", std::to_string(length)))
        .integer(Tensor::dataLocation, Tensor::locationExternal);
    external_.append(reinterpret_cast<const char*>(values.data()), length);
    graph_ += ProtobufWriter().message(Graph::initializer, tensor).bytes();
    return *this;
}

OnnxModelBuilder& OnnxModelBuilder::node(const std::string& operation, const std::vector<std::string>& inputs,
                                         const std::vector<std::string>& outputs, const Attributes& attributes) {
    ProtobufWriter node;
    for (const std::string& name : inputs)
        node.text(Node::input, name);
    for (const std::string& name : outputs)
        node.text(Node::output, name);
    node.text(Node::operation, operation);
    for (const auto& [name, value] : attributes)
        node.message(Node::attribute, attribute(name, value));
    graph_ += ProtobufWriter().message(Graph::node, node).bytes();
    return *this;
}

OnnxModelBuilder& OnnxModelBuilder::opset(int version) {
    opset_ = version;
    return *this;
}

std::string OnnxModelBuilder::bytes() const {
    ProtobufWriter model;
    model.integer(Model::irVersion, 8)
        .text(Model::producerName, "Varnel tests")
        .message(Model::graph, ProtobufWriter().append(graph_).text(Graph::name, "graph"))
        .message(Model::opsetImport, ProtobufWriter().integer(OperatorSet::version, opset_));
    return model.bytes();
}

void OnnxModelBuilder::writeBundle(const std::filesystem::path& directory) const {
    std::filesystem::create_directories(directory);
    writeFile(directory / ModelBundle::networkName, bytes());
    std::vector<std::string> files{ModelBundle::networkName};
    if (!external_.empty()) {
        writeFile(directory / externalFile, external_);
        files.emplace_back(externalFile);
    }
    writeBundleManifest(directory, files, opset_);
}

void writeBundleManifest(const std::filesystem::path& directory, const std::vector<std::string>& files, int opset) {
    nlohmann::json manifest{{"format", ModelBundle::format},
                            {"formatVersion", ModelBundle::formatVersion},
                            {"producer", "Varnel tests"},
                            {"opset", opset},
                            {"files", nlohmann::json::object()}};
    for (const std::string& name : files) {
        const FileDigest digest = digestOfFile(directory / name);
        manifest["files"][name] = {{"sha256", digest.sha256}, {"size", digest.size}};
    }
    writeFile(directory / ModelBundle::manifestName, manifest.dump(1));
}

} // namespace VarnelSpeech::Testing
