#include "VarnelSpeech/Inference/ModelBundle.h"

#include "VarnelSpeech/Inference/MLModel.h"
#include "rapidcheck.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <fstream>

namespace VarnelSpeech {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;

class ModelBundleTest : public ::testing::Test {
protected:
    ModelBundleTest() : bundle_(folder_ / "Tiny.mlmodelc") {
        Testing::TinyOnnxModels::identity({1, 4}).writeBundle(bundle_);
        std::ifstream stream(marker());
        manifest_ = json::parse(stream);
    }

    std::filesystem::path marker() const { return bundle_ / "coremldata.bin"; }

    std::filesystem::path network() const { return bundle_ / "model.onnx"; }

    static void write(const std::filesystem::path& path, const std::string& content) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    }

    static std::string read(const std::filesystem::path& path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    void writeManifest() { write(marker(), manifest_.dump()); }

    // What reading and verifying the bundle ends with.
    std::string refusal() const {
        try {
            ModelBundle::read(bundle_).verify();
        } catch (const MLModelError& error) {
            return error.what();
        }
        return "(no error)";
    }

    std::string cannotLoad(const std::string& reason) const {
        return "cannot load model '" + bundle_.string() + "': " + reason;
    }

    Testing::TemporaryFolder folder_;
    std::filesystem::path bundle_;
    json manifest_;
};

TEST_F(ModelBundleTest, ReadsItsManifestAndVerifies) {
    const ModelBundle bundle = ModelBundle::read(bundle_);
    EXPECT_EQ(bundle.opset, 13);
    EXPECT_EQ(bundle.producer, "Varnel tests");
    EXPECT_EQ(bundle.network(), network());
    ASSERT_EQ(bundle.files.size(), 1U);
    EXPECT_EQ(bundle.files.at("model.onnx").size, std::filesystem::file_size(network()));
    EXPECT_EQ(bundle.files.at("model.onnx").sha256.size(), 64U);
    bundle.verify();
}

TEST_F(ModelBundleTest, NeedsNeitherProducerNorOpset) {
    manifest_.erase("producer");
    manifest_.erase("opset");
    writeManifest();
    EXPECT_EQ(refusal(), "(no error)");
}

TEST_F(ModelBundleTest, TakesSumsInEitherCase) {
    std::string sum = manifest_["files"]["model.onnx"]["sha256"];
    std::transform(sum.begin(), sum.end(), sum.begin(), [](unsigned char c) { return static_cast<char>(toupper(c)); });
    manifest_["files"]["model.onnx"]["sha256"] = sum;
    writeManifest();
    EXPECT_EQ(refusal(), "(no error)");
}

TEST_F(ModelBundleTest, WithoutItsMarkerIsRefused) {
    std::filesystem::remove(marker());
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is missing"));
}

TEST_F(ModelBundleTest, ThatIsNotThereOrIsAFileIsRefused) {
    std::filesystem::remove_all(bundle_);
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is missing"));
    write(bundle_, "a file");
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is missing"));
}

TEST_F(ModelBundleTest, WhoseMarkerIsNoFileIsRefused) {
    std::filesystem::remove(marker());
    std::filesystem::create_directory(marker());
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is not a file"));
    std::filesystem::remove(marker());
    ASSERT_EQ(mkfifo(marker().c_str(), 0600), 0); // would block whoever opens it
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is not a file"));
}

TEST_F(ModelBundleTest, WhoseMarkerIsNoJsonObjectIsRefused) {
    for (const std::string content : {"", "\x01\x02 compiled", "[]", "null", "{\"format\":", "{\"a\":\"\xFF\"}"}) {
        write(marker(), content);
        EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is not a JSON manifest")) << content;
    }
}

TEST_F(ModelBundleTest, WhoseMarkerIsEnormousIsRefused) {
    write(marker(), std::string(ModelBundle::maxManifestSize + 1, ' '));
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is too large to be a manifest"));
}

TEST_F(ModelBundleTest, WhoseManifestIsNestedDeeplyIsRefused) {
    constexpr std::size_t depth = 60000;
    const std::string nested = std::string(depth, '[') + std::string(depth, ']');
    write(marker(), nested);
    EXPECT_EQ(refusal(), cannotLoad("its marker coremldata.bin is not a JSON manifest"));
    write(marker(), R"({"format": "varnel-onnx-bundle", "formatVersion": )" + nested + "}");
    EXPECT_EQ(refusal(), cannotLoad("its format version is missing, not 1"));
    write(marker(), R"({"format": "varnel-onnx-bundle", "formatVersion": 1, "files": {"model.onnx": )" + nested + "}}");
    EXPECT_EQ(refusal(), cannotLoad("its manifest has no sum and size of the file 'model.onnx'"));
}

TEST_F(ModelBundleTest, OfAnotherFormatOrVersionIsRefused) {
    manifest_["format"] = "other";
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its format is not varnel-onnx-bundle"));
    manifest_["format"] = "varnel-onnx-bundle";
    manifest_["formatVersion"] = 2;
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its format version is 2, not 1"));
    manifest_.erase("formatVersion");
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its format version is missing, not 1"));
}

TEST_F(ModelBundleTest, WhoseManifestListsNoNetworkIsRefused) {
    const json files = manifest_["files"];
    manifest_["files"] = json::object();
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its manifest does not list model.onnx"));
    manifest_["files"] = json::array({"model.onnx"});
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its manifest does not list model.onnx"));
    manifest_.erase("files");
    writeManifest();
    EXPECT_EQ(refusal(), cannotLoad("its manifest does not list model.onnx"));
}

TEST_F(ModelBundleTest, WhoseManifestHasNoProperSumOrSizeIsRefused) {
    const json good = manifest_["files"]["model.onnx"];
    const std::string expected = cannotLoad("its manifest has no sum and size of the file 'model.onnx'");
    const auto check = [&](const json& entry) {
        manifest_["files"]["model.onnx"] = entry;
        writeManifest();
        EXPECT_EQ(refusal(), expected) << entry;
    };
    check("sum");
    check({{"size", good["size"]}});
    check({{"sha256", good["sha256"]}});
    check({{"sha256", "abc"}, {"size", good["size"]}});
    check({{"sha256", std::string(64, 'g')}, {"size", good["size"]}});
    check({{"sha256", good["sha256"]}, {"size", -1}});
    check({{"sha256", good["sha256"]}, {"size", "12"}});
    check({{"sha256", good["sha256"]}, {"size", 1.5}});
}

TEST_F(ModelBundleTest, NeverReadsOutsideItsFolder) {
    for (const std::string name :
         {"../secret", "/etc/passwd", "a/../../b", "..", ".", "", "a//b", "a/", "./a", "a\\b", "a\nb"}) {
        json manifest = manifest_;
        manifest["files"][name] = manifest_["files"]["model.onnx"];
        write(marker(), manifest.dump());
        EXPECT_THAT(refusal(), AllOf(HasSubstr(bundle_.string()), HasSubstr("which is not inside the bundle"))) << name;
    }
}

TEST_F(ModelBundleTest, MayHoldFilesInFoldersOfItsOwn) {
    std::filesystem::create_directory(bundle_ / "weights");
    write(bundle_ / "weights" / "weight.bin", "weights");
    Testing::writeBundleManifest(bundle_, {"model.onnx", "weights/weight.bin"});
    EXPECT_EQ(refusal(), "(no error)");
    write(bundle_ / "weights" / "weight.bin", "Weights");
    EXPECT_THAT(refusal(), AllOf(HasSubstr("weights/weight.bin'"), HasSubstr("SHA-256 sum differs")));
}

TEST_F(ModelBundleTest, WithAMissingFileIsRefused) {
    std::filesystem::remove(network());
    EXPECT_EQ(refusal(), "cannot load model '" + network().string() + "': the file is missing");
    std::filesystem::create_directory(network());
    EXPECT_EQ(refusal(), "cannot load model '" + network().string() + "': it is not a file");
}

TEST_F(ModelBundleTest, WithAFileOfAnotherSizeIsRefused) {
    const std::string content = read(network());
    write(network(), content + "x");
    EXPECT_EQ(refusal(), "cannot load model '" + network().string() + "': its size is " +
                             std::to_string(content.size() + 1) + " bytes, the manifest says " +
                             std::to_string(content.size()));
}

TEST_F(ModelBundleTest, WithAnyBitTurnedIsRefused) {
    const std::string content = read(network());
    EXPECT_TRUE(rc::check([&] {
        std::string changed = content;
        const auto position = *rc::gen::inRange<std::size_t>(0, content.size());
        changed[position] = static_cast<char>(changed[position] ^ (1 << *rc::gen::inRange(0, 8)));
        write(network(), changed);
        RC_ASSERT(refusal() ==
                  "cannot load model '" + network().string() + "': its SHA-256 sum differs from the manifest's");
    }));
}

} // namespace
} // namespace VarnelSpeech
