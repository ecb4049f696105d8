#include "EndToEnd/HubSandbox.h"

#include "support/HubModels.h"

#include <nlohmann/json.hpp>

#include <signal.h>

#include <fstream>
#include <map>

namespace Varnel::Testing {
namespace {

using VarnelSpeech::Repo;
using VarnelSpeech::Testing::HubFault;
using VarnelSpeech::Testing::hubFilePath;
using VarnelSpeech::Testing::hubListingPath;

class ModelsTest : public HubSandbox {};

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
    EXPECT_EQ(finished.err, "The models for speech recognition and telling speakers apart are complete in '" +
                                hubCache().parent_path().string() + "'. They are used from the next start.\n");
    EXPECT_EQ(setInUse(), "hub");
    EXPECT_NE(output({"models", "list"}).find("\n* hub       complete "), std::string::npos);
    EXPECT_EQ(filesIn(diarizerCache()), filesIn(starterDiarizer()));
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

TEST_F(ModelsTest, AreFetchedInPartsToo) {
    const Finished finished = run({"models", "fetch", "--set", "diarizer"});
    EXPECT_EQ(finished.err, "The models for telling speakers apart are complete in '" +
                                hubCache().parent_path().string() + "'. They are used from the next start.\n");
    EXPECT_EQ(filesIn(hubCache()), 0U);
    EXPECT_EQ(setInUse(), "starter") << "half a set is none";
    output({"models", "fetch", "--set", "asr", "-q"});
    EXPECT_EQ(setInUse(), "hub");
}

TEST_F(ModelsTest, ForSpeakersAreFetchedAgainAlone) {
    output({"models", "fetch", "-q"});
    const auto network = diarizerCache() / "wespeaker_v2.mlmodelc/model.onnx";
    std::string bytes = contentsOf(network);
    bytes[bytes.size() / 2] ^= 1;
    std::ofstream(network, std::ios::binary) << bytes;
    const Finished verified = run({"models", "verify", "hub"});
    EXPECT_EQ(verified.exitCode, 1);
    EXPECT_NE(verified.out.find("damaged  wespeaker_v2.mlmodelc"), std::string::npos) << verified.out;
    const Finished doctor = run({"doctor"});
    EXPECT_EQ(doctor.exitCode, 1);
    EXPECT_NE(doctor.out.find("wespeaker_v2.mlmodelc (telling speakers apart): "), std::string::npos) << doctor.out;
    hub.forgetRequests();
    output({"models", "fetch", "-q"});
    EXPECT_EQ(hub.requestsFor(hubFilePath(Repo::diarizer, "wespeaker_v2.mlmodelc/model.onnx")).size(), 1U);
    EXPECT_TRUE(hub.requestsFor(encoder()).empty());
    EXPECT_EQ(run({"models", "verify", "hub"}).exitCode, 0);
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

// Every file below a folder with its size; a link counts as what it is.
std::map<std::string, std::uintmax_t> everythingIn(const std::filesystem::path& folder) {
    std::map<std::string, std::uintmax_t> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (!entry.is_directory() || entry.is_symlink())
            files[entry.path().string()] = entry.is_regular_file() ? entry.file_size() : 0;
    return files;
}

TEST_F(ModelsTest, AreNotFetchedThroughAListingThatLeadsOutOfTheirFolder) {
    const std::string listing = hubListingPath(Repo::parakeet);
    const std::string bundle = R"({"path":"Encoder.mlmodelc","type":"directory"},)";
    for (const std::string entry :
         {R"({"path":"../../precious.json","type":"file"})", R"({"path":"/etc/precious.json","type":"file"})",
          R"({"path":"Encoder.mlmodelc/../../../precious.json","type":"file"})",
          R"({"path":"Encoder.mlmodelc/./x.json","type":"file"})", R"({"path":"..","type":"directory"})",
          R"({"path":"Encoder.mlmodelc//x.json","type":"file"})", R"({"path":"a\\..\\x.json","type":"file"})",
          R"({"path":"x\u0000.json","type":"file"})", R"({"path":"","type":"file"})",
          R"({"path":"Encoder.mlmodelc","type":"symlink","target":"/etc"})",
          R"({"path":"config.json","type":"link","target":"../../../precious.json"})"}) {
        hub.setAnswer(listing, "[" + bundle + entry + "]");
        run({"models", "list"}); // makes the program's own folders
        std::filesystem::remove(log());
        const auto before = everythingIn(folder.path());
        const std::string text = failure({"models", "fetch"});
        EXPECT_NE(text.find("does not stay in the repository: '"), std::string::npos) << text;
        std::filesystem::remove(log());
        for (const auto& [path, size] : everythingIn(folder.path()))
            EXPECT_TRUE(before.contains(path) || path.starts_with(hubCache().parent_path().string())) << entry << path;
        EXPECT_EQ(filesIn(hubCache()), 0U) << entry;
    }
    for (const auto& request : hub.requests())
        EXPECT_NE(request.path.find("/api/models/"), std::string::npos) << request.path << " was fetched";
}

TEST_F(ModelsTest, DoNotFollowALinkThatLiesInTheirFolder) {
    std::filesystem::create_directories(hubCache());
    std::filesystem::create_directory(path("precious"));
    std::ofstream(path("precious/model.onnx")) << "precious";
    std::filesystem::create_directory_symlink(path("precious"), hubCache() / "Encoder.mlmodelc");
    const std::string text = failure({"models", "fetch"});
    EXPECT_NE(text.find("it is a symbolic link"), std::string::npos) << text;
    EXPECT_EQ(contentsOf(path("precious/model.onnx")), "precious");
    EXPECT_EQ(filesIn(path("precious")), 1U);
}

TEST_F(ModelsTest, AreFoundInAListingOfAHundredThousandEntries) {
    const auto listing = nlohmann::json::parse(R"([{"path":"Encoder.mlmodelc","type":"directory"},
        {"path":"Preprocessor.mlmodelc","type":"directory"}, {"path":"Decoder.mlmodelc","type":"directory"},
        {"path":"JointDecision.mlmodelc","type":"directory"}, {"path":"parakeet_vocab.json","type":"file"}])");
    std::string entries;
    for (const auto& entry : listing)
        entries += entry.dump() + ",";
    for (int number = 0; number < 100'000; ++number)
        entries += R"({"path":"other/)" + std::to_string(number) + R"(.bin","type":"file","size":1},)";
    hub.setAnswer(hubListingPath(Repo::parakeet), "[" + entries.substr(0, entries.size() - 1) + "]");
    EXPECT_EQ(output({"models", "fetch", "-q"}), "");
    EXPECT_EQ(setInUse(), "hub");

    std::filesystem::remove_all(hubCache());
    entries += entries + entries; // more than any repository has
    hub.setAnswer(hubListingPath(Repo::parakeet), "[" + entries.substr(0, entries.size() - 1) + "]");
    failure({"models", "fetch"});
    EXPECT_EQ(filesIn(hubCache()), 0U);
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
