#include "VarnelSpeech/Shared/RepositoryListing.h"

#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"
#include "support/EnvironmentScope.h"
#include "support/HubModels.h"
#include "support/TestHub.h"

#include "rapidcheck.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace VarnelSpeech {
namespace {

using Testing::addModels;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::HubEnvironment;
using Testing::HubFault;
using Testing::hubListingPath;
using testing::IsEmpty;
using Testing::TestHub;
using testing::UnorderedElementsAre;

constexpr const char* vadBundle = "silero-vad-unified-256ms-v6.0.0.mlmodelc";
const std::string vadRepository = "Riogleiz/silero-vad-coreml";

class RepositoryListingTest : public testing::Test {
protected:
    std::vector<std::string> paths(Repo repo, std::string_view variant = {}) const {
        std::vector<std::string> paths;
        for (const auto& file : DownloadUtils::listRepoFiles(repo, variant))
            paths.push_back(file.path);
        return paths;
    }

    // The case of the HuggingFaceDownloadError that a listing ends with.
    HuggingFaceDownloadError failure(Repo repo = Repo::vad) const {
        try {
            paths(repo);
        } catch (const HuggingFaceDownloadError& error) {
            return error;
        }
        throw std::logic_error("the listing was accepted");
    }

    void answer(const nlohmann::json& listing) { hub.setAnswer(hubListingPath(Repo::vad), listing.dump()); }

    TestHub hub;
    HubEnvironment environment{hub.url()};
};

TEST_F(RepositoryListingTest, TakesWhatLiesBelowARequiredNameAndMetadata) {
    addModels(hub, Repo::vad);
    hub.addFile(vadRepository, "config.json", "{}");
    hub.addFile(vadRepository, "README.md", "#");
    hub.addFile(vadRepository, "notes.txt", "x");
    hub.addFile(vadRepository, "tokenizer.model", "x");
    hub.addFile(vadRepository, "other.mlmodelc/model.onnx", "x");
    hub.addFile(vadRepository, std::string(vadBundle) + "/weights/w.bin", "x");
    EXPECT_THAT(paths(Repo::vad),
                UnorderedElementsAre("config.json", "notes.txt", std::string(vadBundle) + "/coremldata.bin",
                                     std::string(vadBundle) + "/model.onnx",
                                     std::string(vadBundle) + "/weights/w.bin"));
}

TEST_F(RepositoryListingTest, AsksForRequiredFoldersAlone) {
    addModels(hub, Repo::vad);
    hub.addFile(vadRepository, "other.mlmodelc/model.onnx", "x");
    paths(Repo::vad);
    std::vector<std::string> asked;
    for (const auto& request : hub.requests())
        asked.push_back(request.path);
    EXPECT_THAT(asked, ElementsAre(hubListingPath(Repo::vad), hubListingPath(Repo::vad, vadBundle)));
}

TEST_F(RepositoryListingTest, StripsTheSubfolderOfTheEndOfUtteranceSets) {
    addModels(hub, Repo::parakeetEou160);
    hub.addFile("Riogleiz/parakeet-realtime-eou-120m-coreml", "160ms/tokenizer.model", "x");
    hub.addFile("Riogleiz/parakeet-realtime-eou-120m-coreml", "320ms/vocab.json", "x");
    const auto found = paths(Repo::parakeetEou160);
    EXPECT_THAT(found, Contains("streaming_encoder.mlmodelc/model.onnx"));
    EXPECT_THAT(found, Contains("vocab.json"));
    EXPECT_THAT(found, Contains("tokenizer.model"));
    EXPECT_EQ(found.size(), 4U * 2 + 2);
    EXPECT_EQ(hub.requests().at(0).path, "/api/models/Riogleiz/parakeet-realtime-eou-120m-coreml/tree/main/160ms");
}

TEST_F(RepositoryListingTest, TakesTheVariantsBundlesAlone) {
    addModels(hub, Repo::diarizer);
    addModels(hub, Repo::diarizer, "offline");
    const auto chunked = paths(Repo::diarizer);
    EXPECT_THAT(chunked, Contains("wespeaker_v2.mlmodelc/model.onnx"));
    EXPECT_THAT(chunked, testing::Not(Contains("FBank.mlmodelc/model.onnx")));
    const auto offline = paths(Repo::diarizer, "offline");
    EXPECT_THAT(offline, Contains("FBank.mlmodelc/model.onnx"));
    EXPECT_THAT(offline, Contains("plda-parameters.json"));
    EXPECT_THAT(offline, testing::Not(Contains("wespeaker_v2.mlmodelc/model.onnx")));
}

TEST_F(RepositoryListingTest, EndsAtOnceWhenTheHubLimitsIt) {
    for (const int status : {429, 503}) {
        hub.forgetRequests();
        hub.setFault(hubListingPath(Repo::vad), HubFault::withStatus(status));
        const auto error = failure();
        EXPECT_EQ(error.error(), HuggingFaceDownloadError::Case::rateLimited);
        EXPECT_EQ(error.statusCode(), status);
        EXPECT_STREQ(error.what(), "Hugging Face rate limit encountered: Rate limited while listing files");
        EXPECT_EQ(hub.requests().size(), 1U);
    }
}

TEST_F(RepositoryListingTest, TakesEveryOtherStatusForNoListing) {
    for (const int status : {400, 401, 403, 404, 500, 502}) {
        hub.setFault(hubListingPath(Repo::vad), HubFault::withStatus(status));
        EXPECT_EQ(failure().error(), HuggingFaceDownloadError::Case::invalidResponse) << status;
    }
}

TEST_F(RepositoryListingTest, RefusesWhatIsNoListing) {
    for (const char* body : {"", "not JSON", "{}", "null", "3", R"({"error": "x"})", "[1]", R"(["a"])", "[[]]",
                             R"([{"path": "a"}])", R"([{"type": "file"}])", R"([{"path": 1, "type": "file"}])",
                             R"([{"path": "a", "type": 1}])", R"([{"path": "a", "type": null}])",
                             R"([{"path": "a", "type": "file"})", "[{\"path\": \"\xff\", \"type\": \"file\"}]"}) {
        hub.setAnswer(hubListingPath(Repo::vad), body);
        const auto error = failure();
        EXPECT_EQ(error.error(), HuggingFaceDownloadError::Case::invalidResponse) << body;
        EXPECT_STREQ(error.what(), "Received an invalid response from Hugging Face.");
    }
}

TEST_F(RepositoryListingTest, ToleratesKeysThatItDoesNotKnow) {
    answer({{{"path", "a.json"}, {"type", "file"}, {"lfs", {{"path", 3}, {"type", "x"}}}, {"size", "?"}}});
    EXPECT_THAT(paths(Repo::vad), ElementsAre("a.json"));
}

TEST_F(RepositoryListingTest, EndsWithARedirectLoop) {
    hub.setFault(hubListingPath(Repo::vad), HubFault::redirectTo(hubListingPath(Repo::vad)));
    try {
        paths(Repo::vad);
        FAIL();
    } catch (const HttpTransportError& error) {
        EXPECT_EQ(error.error(), HttpTransportError::Case::redirectLoop);
    }
}

TEST_F(RepositoryListingTest, ReadsAListingOfAHundredThousandEntries) {
    std::string listing = "[";
    for (int index = 0; index < 100'000; ++index)
        listing += (index == 0 ? R"({"type":"file","path":"file-)" : R"(,{"type":"file","path":"file-)") +
                   std::to_string(index) + (index % 1000 == 0 ? R"(.json","size":1})" : R"(.bin","size":1})");
    hub.setAnswer(hubListingPath(Repo::vad), listing + "]");
    EXPECT_EQ(paths(Repo::vad).size(), 100U);
}

TEST_F(RepositoryListingTest, RefusesMoreEntriesThanAnyRepositoryHas) {
    std::string listing = "[";
    for (std::size_t index = 0; index <= RepositoryListing::maximumEntries; ++index)
        listing += (index == 0 ? "" : ",") + std::string(R"({"path":"a","type":"file"})");
    hub.setAnswer(hubListingPath(Repo::vad), listing + "]");
    EXPECT_EQ(failure().error(), HuggingFaceDownloadError::Case::invalidResponse);
}

TEST_F(RepositoryListingTest, RefusesABodyWithoutEnd) {
    hub.setAnswer(hubListingPath(Repo::vad), std::string(RepositoryListing::maximumBodyBytes + 1, ' '));
    EXPECT_EQ(failure().error(), HuggingFaceDownloadError::Case::invalidResponse);
}

TEST_F(RepositoryListingTest, RefusesFoldersWithoutEnd) {
    std::string folder = vadBundle;
    answer({{{"path", folder}, {"type", "directory"}}});
    for (std::size_t depth = 0; depth <= RepositoryListing::maximumDepth; ++depth) {
        const std::string child = folder + "/deeper";
        hub.setAnswer(hubListingPath(Repo::vad, folder),
                      nlohmann::json({{{"path", child}, {"type", "directory"}}}).dump());
        folder = child;
    }
    EXPECT_EQ(failure().error(), HuggingFaceDownloadError::Case::invalidResponse);
    EXPECT_EQ(hub.requests().size(), RepositoryListing::maximumDepth + 1);
}

TEST_F(RepositoryListingTest, AsksForAFolderOnceHoweverOftenItIsListed) {
    const nlohmann::json entry = {{"path", vadBundle}, {"type", "directory"}};
    answer({entry, entry, entry});
    hub.setAnswer(hubListingPath(Repo::vad, vadBundle), "[]");
    paths(Repo::vad);
    EXPECT_EQ(hub.requests().size(), 2U);
}

TEST_F(RepositoryListingTest, RefusesAPathThatLeavesTheRepository) {
    using namespace std::string_literals;
    for (const std::string& path :
         {"../evil.json"s, "a/../../evil.json"s, "/etc/passwd.json"s, "//x.json"s, "a//b.json"s, "./a.json"s,
          "a/./b.json"s, ".."s, "."s, ""s, "a/"s, "a\\..\\b.json"s, "a\0b.json"s, "a\nb.json"s, vadBundle + "/../../x"s,
          std::string(5000, 'x') + ".json"}) {
        answer({{{"path", "fine.json"}, {"type", "file"}}, {{"path", path}, {"type", "file"}}});
        try {
            paths(Repo::vad);
            ADD_FAILURE() << path;
        } catch (const RepositoryListingError& error) {
            EXPECT_EQ(error.error(), RepositoryListingError::Case::unsafePath);
            EXPECT_THAT(error.what(), HasSubstr("does not stay in the repository: '"));
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        }
    }
}

TEST_F(RepositoryListingTest, RefusesALinkAndAFolderThatClimbs) {
    for (const char* type : {"symlink", "link", "commit", ""}) {
        answer({{{"path", "a.json"}, {"type", type}}});
        EXPECT_THROW(paths(Repo::vad), RepositoryListingError) << type;
    }
    answer({{{"path", "../x"}, {"type", "directory"}}});
    EXPECT_THROW(paths(Repo::vad), RepositoryListingError);
}

TEST_F(RepositoryListingTest, RefusesEntriesThatLieOutsideTheFolderAskedFor) {
    answer({{{"path", vadBundle}, {"type", "directory"}}});
    hub.setAnswer(hubListingPath(Repo::vad, vadBundle),
                  nlohmann::json({{{"path", "elsewhere.json"}, {"type", "file"}}}).dump());
    EXPECT_THROW(paths(Repo::vad), RepositoryListingError);
    hub.setAnswer(hubListingPath(Repo::parakeetEou160),
                  nlohmann::json({{{"path", "320ms/vocab.json"}, {"type", "file"}}}).dump());
    EXPECT_THROW(paths(Repo::parakeetEou160), RepositoryListingError);
}

TEST_F(RepositoryListingTest, GivesOnlyPathsThatStayInsideWhateverTheHubSays) {
    EXPECT_TRUE(rc::check([this] {
        const auto component = rc::gen::element<std::string>("..", ".", "", "a", vadBundle, "x.json", "\\", "~");
        const auto components = *rc::gen::nonEmpty(rc::gen::container<std::vector<std::string>>(component));
        std::string path = components.front();
        for (std::size_t index = 1; index < components.size(); ++index)
            path += "/" + components[index];
        answer({{{"path", path}, {"type", "file"}}});
        try {
            for (const std::string& found : paths(Repo::vad)) {
                const std::filesystem::path inside = std::filesystem::path("/root") / found;
                RC_ASSERT(inside.lexically_normal().string() == "/root/" + found);
                RC_ASSERT(found.find('\\') == std::string::npos);
            }
        } catch (const RepositoryListingError&) {
        }
    }));
}

TEST_F(RepositoryListingTest, SendsTheTokenAndNoneWithoutOne) {
    addModels(hub, Repo::vad);
    paths(Repo::vad);
    for (const auto& request : hub.requests())
        EXPECT_FALSE(request.headers.contains("authorization"));
    hub.forgetRequests();
    environment.set("HUGGINGFACEHUB_API_TOKEN", "third");
    EXPECT_EQ(DownloadUtils::huggingFaceToken(), "third");
    environment.set("HUGGING_FACE_HUB_TOKEN", "second");
    EXPECT_EQ(DownloadUtils::huggingFaceToken(), "second");
    environment.set("HF_TOKEN", "");
    EXPECT_EQ(DownloadUtils::huggingFaceToken(), "second");
    environment.set("HF_TOKEN", "first\n");
    paths(Repo::vad);
    for (const auto& request : hub.requests())
        EXPECT_EQ(request.header("authorization"), "Bearer first");
}

TEST_F(RepositoryListingTest, RefusesATokenThatIsNoHeaderValueWithoutShowingIt) {
    environment.set("HF_TOKEN", "secret\r\nX-Evil: 1");
    try {
        paths(Repo::vad);
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "The token in HF_TOKEN holds control characters.");
    }
    EXPECT_THAT(hub.requests(), IsEmpty());
}

} // namespace
} // namespace VarnelSpeech
