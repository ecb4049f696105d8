#include "EndToEnd/Sandbox.h"

#include "support/HubModels.h"
#include "support/TestHub.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <fstream>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Repo;
using VarnelSpeech::Testing::HubFault;
using VarnelSpeech::Testing::hubFilePath;
using VarnelSpeech::Testing::hubListingPath;
using VarnelSpeech::Testing::TestHub;

// `varnel models` against a hub on this machine that serves the starter models as if they were the full ones.
class ModelsTest : public Sandbox {
protected:
    ModelsTest() {
        hub.addFolder("Riogleiz/parakeet-tdt-0.6b-v3-coreml", starterModels());
        options.environment["REGISTRY_URL"] = hub.url();
    }

    std::string encoder() const { return hubFilePath(Repo::parakeet, "Encoder.mlmodelc/model.onnx"); }

    std::string setInUse() {
        for (const auto& set : nlohmann::json::parse(output({"models", "list", "--json"})))
            if (set["inUse"] == true)
                return set["set"];
        return "none";
    }

    TestHub hub;
};

TEST_F(ModelsTest, AreTheStarterModelsUntilOthersAreFetched) {
    EXPECT_EQ(setInUse(), "starter");
    EXPECT_NE(output({"models", "list"}).find("\n* starter   complete "), std::string::npos);
    EXPECT_EQ(output({"models", "path"}), starterModels().parent_path().string() + "\n");
    EXPECT_NE(output({"models", "verify"}).find("ok       loads and fits together"), std::string::npos);
    EXPECT_TRUE(hub.requests().empty()) << "nothing is fetched without being asked for";
}

TEST_F(ModelsTest, AreFetchedAndUsedFromTheNextStart) {
    const Finished finished = run({"models", "fetch"});
    EXPECT_EQ(finished.exitCode, 0) << finished.err;
    EXPECT_EQ(finished.err, "The models for speech recognition are complete in '" + hubCache().string() +
                                "'. They are used from the next start.\n");
    EXPECT_EQ(setInUse(), "hub");
    EXPECT_EQ(contentsOf(hubCache() / "Encoder.mlmodelc/model.onnx"),
              contentsOf(starterModels() / "Encoder.mlmodelc/model.onnx"));
    EXPECT_EQ(std::filesystem::status(hubCache()).permissions(), std::filesystem::perms(0700));
    hub.forgetRequests();
    EXPECT_EQ(output({"models", "fetch", "-q"}), "");
    EXPECT_TRUE(hub.requests().empty()) << "what is complete is not asked for again";

    output({"models", "use", "starter", "-q"});
    EXPECT_EQ(setInUse(), "starter");
    EXPECT_NE(run({"models", "fetch"}).err.find("'varnel models use hub' switches to them"), std::string::npos);
    output({"models", "use", "hub", "-q"});
    EXPECT_EQ(setInUse(), "hub");
}

TEST_F(ModelsTest, GoOnWhereAKilledFetchEnded) {
    hub.setFault(encoder(), HubFault::stallAt(4'000'000));
    auto program = start({"models", "fetch"});
    ASSERT_TRUE(hub.waitForStalls(1));
    program->send(SIGKILL);
    EXPECT_EQ(program->wait().signal, SIGKILL);
    EXPECT_EQ(setInUse(), "starter") << "half a set is none";
    hub.clearFault(encoder());
    hub.releaseStalls();
    hub.forgetRequests();
    EXPECT_EQ(output({"models", "fetch", "-q"}), "");
    EXPECT_EQ(setInUse(), "hub");
    EXPECT_TRUE(hub.requestsFor(hubFilePath(Repo::parakeet, "Decoder.mlmodelc/model.onnx")).empty())
        << "a file that was there already";
    ASSERT_EQ(hub.requestsFor(encoder()).size(), 1U);
    EXPECT_NE(hub.requestsFor(encoder())[0].header("range"), "") << "the rest of the one that was cut off";
}

TEST_F(ModelsTest, StopInGoodOrderWhenTheFetchIsInterrupted) {
    hub.setFault(encoder(), HubFault::stallAt(4'000'000));
    auto program = start({"models", "fetch"});
    ASSERT_TRUE(hub.waitForStalls(1));
    program->send(SIGINT);
    const Finished finished = program->wait();
    EXPECT_EQ(finished.exitCode, 130);
    EXPECT_EQ(finished.err, "varnel: cancelled\n");
}

TEST_F(ModelsTest, AreDeletedAndFetchedOnceMoreWhenABundleIsDamaged) {
    output({"models", "fetch", "-q"});
    const auto network = hubCache() / "Decoder.mlmodelc/model.onnx";
    std::string bytes = contentsOf(network);
    bytes[bytes.size() / 2] ^= 1; // the size stays
    std::ofstream(network, std::ios::binary) << bytes;
    const Finished verified = run({"models", "verify", "hub"});
    EXPECT_EQ(verified.exitCode, 1);
    EXPECT_NE(verified.out.find("damaged  Decoder.mlmodelc"), std::string::npos) << verified.out;
    EXPECT_EQ(verified.err, "varnel: the models in '" + hubCache().parent_path().string() + "' are not whole\n");

    hub.forgetRequests();
    EXPECT_EQ(output({"models", "fetch", "-q"}), "");
    EXPECT_EQ(hub.requestsFor(encoder()).size(), 1U) << "the whole set, once";
    EXPECT_NE(output({"models", "verify", "hub"}).find("ok       Decoder.mlmodelc"), std::string::npos);
}

TEST_F(ModelsTest, ReportASecondFailureAndStayAsTheyAre) {
    std::string bytes = contentsOf(starterModels() / "Decoder.mlmodelc/model.onnx");
    bytes[bytes.size() / 2] ^= 1;
    hub.addFile("Riogleiz/parakeet-tdt-0.6b-v3-coreml", "Decoder.mlmodelc/model.onnx", bytes);
    const std::string text = failure({"models", "fetch"});
    EXPECT_NE(text.find("SHA-256"), std::string::npos) << text;
    EXPECT_EQ(hub.requestsFor(encoder()).size(), 2U);
    EXPECT_TRUE(std::filesystem::exists(hubCache() / "Decoder.mlmodelc/model.onnx"));
}

TEST_F(ModelsTest, AreNeitherFetchedNorDeletedForAHubWithoutNetworksForThisProgram) {
    output({"models", "fetch", "-q"});
    std::ofstream(hubCache() / "Decoder.mlmodelc/model.onnx", std::ios::app) << "damage";
    for (const char* bundle : {"Preprocessor", "Encoder", "Decoder", "JointDecision"})
        hub.removeFile("Riogleiz/parakeet-tdt-0.6b-v3-coreml", std::string(bundle) + ".mlmodelc/model.onnx");
    hub.forgetRequests();
    const auto before = filesIn(hubCache());
    failure({"models", "fetch"});
    EXPECT_EQ(filesIn(hubCache()), before);
    for (const auto& request : hub.requests())
        EXPECT_NE(request.path.find("/api/models/"), std::string::npos) << request.path << " was fetched";
}

TEST_F(ModelsTest, TellWhatTheHubDidWrong) {
    const std::string listing = hubListingPath(Repo::parakeet);
    for (const int status : {429, 503, 404, 500}) {
        hub.setFault(listing, HubFault::withStatus(status));
        failure({"models", "fetch"});
    }
    hub.setFault(listing, HubFault::redirectTo(listing));
    failure({"models", "fetch"});
    hub.clearFault(listing);
    for (const char* body : {"<html>not JSON</html>", "{}", R"([{"path":"../x.json","type":"file"}])",
                             R"([{"path":"/etc/x.json","type":"file"}])"}) {
        hub.setAnswer(listing, body);
        failure({"models", "fetch"});
    }
    EXPECT_EQ(filesIn(hubCache()), 0U);
    options.environment["REGISTRY_URL"] = "http://127.0.0.1:1";
    failure({"models", "fetch"});
}

TEST_F(ModelsTest, InAFolderOfTheUsersAreNeverTouched) {
    std::filesystem::create_directory(path("mine"));
    std::filesystem::copy(starterModels(), path("mine/parakeet-tdt-0.6b-v3-coreml"),
                          std::filesystem::copy_options::recursive);
    std::ofstream(path("mine/parakeet-tdt-0.6b-v3-coreml/Decoder.mlmodelc/model.onnx"), std::ios::app) << "damage";
    output({"models", "use", path("mine").string(), "-q"});
    const auto before = filesIn(path("mine"));
    writeSpeech(path("talk.wav"), 2);
    const std::string text = failure({"transcribe", "talk.wav"});
    EXPECT_TRUE(text.starts_with("cannot load the models of '" + path("mine").string() + "': ")) << text;
    EXPECT_EQ(filesIn(path("mine")), before);
    EXPECT_TRUE(hub.requests().empty());
}

TEST_F(ModelsTest, DoNotFallBackFromAHubThatWasChosenAndIsNotThere) {
    output({"models", "use", "hub", "-q"});
    EXPECT_EQ(failure({"models", "path"}),
              "the hub's models are chosen, but not all of them are there; 'varnel models fetch' fetches them, "
              "'varnel models use starter' goes back");
    EXPECT_EQ(linesOf(output({"models", "list"})).size(), 3U) << "listing them still works";
}

TEST_F(ModelsTest, AreExaminedByTheDoctor) {
    const Finished finished = run({"doctor"});
    EXPECT_EQ(finished.exitCode, 0) << finished.out;
    EXPECT_NE(finished.out.find("note     models             the starter models are in use"), std::string::npos)
        << finished.out;
    EXPECT_NE(finished.out.find("Run 'varnel models fetch'"), std::string::npos);
    EXPECT_NE(finished.out.find("ONNX Runtime "), std::string::npos);
    for (const auto& finding : nlohmann::json::parse(output({"doctor", "--json"}))) {
        EXPECT_TRUE(finding.contains("subject") && finding.contains("state") && finding.contains("text"));
        EXPECT_NE(finding["state"], "problem") << finding.dump();
    }
}

} // namespace
} // namespace Varnel::Testing
