// A disk that is full: one clear line, nothing lost, nothing left half done, and all well again once there is room.
#include "EndToEnd/HubSandbox.h"

#include "support/HubModels.h"
#include "support/SmallDisk.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Testing::HubFault;
using VarnelSpeech::Testing::SmallDisk;

constexpr std::uint64_t megabyte = 1024 * 1024;
constexpr const char* noDisk = "no small disk can be mounted here; it takes root";

class FullDiskTest : public HubSandbox {
protected:
    // A meeting with its audio in the store that lies on the disk.
    void saveTalk() {
        writeSpeech(path("talk.flac"), 6);
        output({"transcribe", "--save", "-q", "talk.flac"});
    }

    nlohmann::json meetings() { return nlohmann::json::parse(output({"meetings", "list", "--json"})); }
};

TEST_F(FullDiskTest, EndsAFetchThatGoesOnOnceThereIsRoom) {
    const SmallDisk disk(path("data"), 4 * megabyte);
    if (!disk.isMounted())
        GTEST_SKIP() << noDisk;
    hub.setFault(encoder(), HubFault::of(HubFault::Kind::chunked)); // so that it does not say how much will come
    const std::string text = failure({"models", "fetch"});
    EXPECT_NE(text.find("No space left on device"), std::string::npos) << text;
    EXPECT_TRUE(text.starts_with("Cannot write '" + hubCache().string())) << text;
    EXPECT_EQ(setInUse(), "starter") << "half a set is none";
    EXPECT_FALSE(std::filesystem::exists(hubCache() / "Encoder.mlmodelc/model.onnx"));

    hub.clearFault(encoder());
    failure({"models", "fetch"});
    ASSERT_TRUE(disk.resize(32 * megabyte));
    hub.forgetRequests();
    EXPECT_EQ(output({"models", "fetch", "-q"}), "");
    EXPECT_EQ(setInUse(), "hub");
    EXPECT_NE(output({"models", "verify", "hub"}).find("ok       loads and fits together"), std::string::npos);
}

TEST_F(FullDiskTest, KeepsTheStoreWhereverItFillsUpWhileATranscriptIsSaved) {
    const SmallDisk disk(path("data"), 16 * megabyte);
    if (!disk.isMounted())
        GTEST_SKIP() << noDisk;
    saveTalk();
    const auto before = meetings();
    ASSERT_EQ(before.size(), 1U);
    const std::string json = output({"meetings", "export", "latest", "--format", "json"});
    const std::size_t audioBytes = contentsOf(path("talk.flac")).size();

    // From no room at all, over too little for the audio, to too little for the store beside it.
    bool wasTranscribed = false;
    bool wasCopied = false;
    for (const std::uint64_t room : {std::uint64_t{0}, audioBytes / 2, audioBytes + 4096, audioBytes + 40 * 1024}) {
        std::ofstream(path("data/filler")).close();
        const std::uint64_t used = disk.usedBytes();
        std::ofstream(path("data/filler")) << std::string(16 * megabyte - used - (room + 4095) / 4096 * 4096, 'x');
        const Finished finished = run({"transcribe", "--save", "--no-diarization", "talk.flac"});
        EXPECT_EQ(finished.exitCode, 1) << room;
        EXPECT_EQ(linesOf(finished.err).size(), 1U) << finished.err;
        EXPECT_TRUE(finished.err.starts_with("varnel: ")) << finished.err;
        wasTranscribed |= !finished.out.empty();
        wasCopied |= finished.out.size() > 0 && finished.err.find("cannot copy") == std::string::npos;
        EXPECT_EQ(filesIn(recordings()), 1U) << "no half copy, at " << room;
        std::filesystem::remove(path("data/filler"));
        EXPECT_EQ(meetings(), before) << room;
    }
    EXPECT_TRUE(wasTranscribed) << "the transcript itself was printed";
    EXPECT_TRUE(wasCopied) << "the store was what there was no room for";
    EXPECT_EQ(output({"meetings", "export", "latest", "--format", "json"}), json);

    output({"transcribe", "--save", "-q", "talk.flac"});
    EXPECT_EQ(meetings().size(), 2U);
    EXPECT_EQ(filesIn(recordings()), 2U);
    EXPECT_EQ(run({"doctor"}).exitCode, 0) << "the store is whole";
}

} // namespace
} // namespace Varnel::Testing
