#include "VarnelSpeech/Inference/OnnxRuntime.h"

#include "VarnelSpeech/Inference/MLModel.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>

namespace VarnelSpeech {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using Testing::TemporaryFolder;

class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value) : name_(name) {
        if (const char* before = std::getenv(name))
            before_ = before;
        setenv(name, value, 1);
    }

    ~EnvironmentVariable() {
        if (before_)
            setenv(name_, before_->c_str(), 1);
        else
            unsetenv(name_);
    }

    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

std::string refusal(const std::vector<std::filesystem::path>& candidates) {
    try {
        OnnxRuntime::open(candidates);
    } catch (const MLModelError& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(OnnxRuntime, IsLookedForWhereTheEnvironmentSaysFirst) {
    const EnvironmentVariable variable("VARNEL_ONNXRUNTIME", "/some/where/libonnxruntime.so");
    EXPECT_EQ(OnnxRuntime::candidates().front(), "/some/where/libonnxruntime.so");
}

TEST(OnnxRuntime, IsLookedForBesideTheProgramThenWhereTheBuildFoundItThenByItsName) {
    const EnvironmentVariable variable("VARNEL_ONNXRUNTIME", "");
    const auto candidates = OnnxRuntime::candidates();
    const auto prefix = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    ASSERT_GE(candidates.size(), 3U);
    EXPECT_EQ(candidates.front(), prefix / "lib/varnel/libonnxruntime.so.1");
    EXPECT_EQ(candidates.back(), "libonnxruntime.so.1");
    EXPECT_TRUE(candidates[candidates.size() - 2].is_absolute());
}

TEST(OnnxRuntime, SaysOfEveryPlaceWhyItDidNotServe) {
    const TemporaryFolder folder;
    const auto text = folder / "text.so";
    std::ofstream(text) << "no library";
    // A library that is there and is another.
    const std::string reason = refusal({folder / "absent.so", text, "libm.so.6"});
    EXPECT_THAT(reason, AllOf(HasSubstr("ONNX Runtime could not be loaded"), HasSubstr("absent.so': "),
                              HasSubstr("text.so': "), HasSubstr("'libm.so.6': it is not ONNX Runtime")));
    EXPECT_EQ(std::count(reason.begin(), reason.end(), '\n'), 0);
}

TEST(OnnxRuntime, TakesTheFirstThatServes) {
    const auto& library = OnnxRuntime::library();
    const auto again = OnnxRuntime::open({"/nowhere/libonnxruntime.so.1", library.path});
    EXPECT_EQ(again.path, library.path);
    EXPECT_EQ(again.api, library.api);
    EXPECT_FALSE(library.version.empty());
}

TEST(OnnxRuntime, AlwaysHasTheProcessor) {
    EXPECT_THAT(OnnxRuntime::availableProviders(), ::testing::Contains("CPUExecutionProvider"));
}

} // namespace
} // namespace VarnelSpeech
