#include "Varnel/Refinement/ModelSets.h"

#include "support/EnvironmentScope.h"
#include "support/ErrorText.h"
#include "support/MemorySettingsStore.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <gtest/gtest.h>

#include <fstream>

namespace Varnel {
namespace {

namespace fs = std::filesystem;
using VarnelSpeech::Repo;
using VarnelSpeech::DownloadUtils::Fetching;
using VarnelSpeech::Testing::TemporaryFolder;

class ModelSetsTest : public ::testing::Test {
protected:
    ModelSets sets() { return {{folder / "hub", {folder / "nowhere", folder / "starter"}}, settings}; }

    // Every bundle and file of the recogniser below `root`.
    void fill(const fs::path& root) {
        const fs::path repository = root / VarnelSpeech::folderName(Repo::parakeet);
        for (const std::string& name : VarnelSpeech::ModelNames::getRequiredModelNames(Repo::parakeet)) {
            fs::create_directories(repository);
            if (fs::path(name).extension() == ".mlmodelc")
                VarnelSpeech::Testing::TinyOnnxModels::identity({1, 4}).writeBundle(repository / name);
            else
                std::ofstream(repository / name) << "{}";
        }
    }

    fs::path inHub(const std::string& path) { return folder / "hub" / VarnelSpeech::folderName(Repo::parakeet) / path; }

    TemporaryFolder folder;
    Testing::MemorySettingsStore settings;
};

TEST_F(ModelSetsTest, UsesTheStarterSetUntilThereIsAnother) {
    fs::create_directories(folder / "starter");
    const auto inUse = sets().inUse();
    EXPECT_EQ(inUse.set, (ModelSet{ModelSet::Kind::starter, folder / "starter"}));
    EXPECT_EQ(inUse.reason, ModelSets::Reason::fallback);
    EXPECT_EQ(inUse.set.fetching(), Fetching::never);
}

TEST_F(ModelSetsTest, UsesTheHubsSetOnceItIsComplete) {
    fs::create_directories(folder / "starter");
    fill(folder / "hub");
    const auto inUse = sets().inUse();
    EXPECT_EQ(inUse.set.kind, ModelSet::Kind::hub);
    EXPECT_EQ(inUse.reason, ModelSets::Reason::complete);
    EXPECT_EQ(inUse.set.fetching(), Fetching::whenMissing);

    std::ofstream(inHub("Encoder.mlmodelc/model.onnx"), std::ios::app) << "one byte too many";
    EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::starter) << "a size that its manifest does not name";
}

TEST_F(ModelSetsTest, TakesNoSetThatIsHalfFetched) {
    fs::create_directories(folder / "starter");
    fill(folder / "hub");
    std::ofstream(inHub(".unfinished"));
    EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::starter);
    fs::remove(inHub(".unfinished"));
    for (const char* missing : {"parakeet_vocab.json", "Decoder.mlmodelc/coremldata.bin"}) {
        fs::rename(inHub(missing), folder / "aside");
        EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::starter) << missing;
        fs::rename(folder / "aside", inHub(missing));
    }
    EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::hub);
}

TEST_F(ModelSetsTest, FollowsTheUsersChoice) {
    fs::create_directories(folder / "starter");
    fs::create_directories(folder / "mine");
    fill(folder / "hub");
    sets().choose("starter");
    EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::starter);
    EXPECT_EQ(settings.values[QStringLiteral("linux/modelSet")], QStringLiteral("starter"));
    sets().choose((folder / "mine").string());
    EXPECT_EQ(sets().inUse().set, (ModelSet{ModelSet::Kind::folder, folder / "mine"}));
    EXPECT_EQ(sets().inUse().set.fetching(), Fetching::never);
    EXPECT_EQ(sets().inUse().reason, ModelSets::Reason::chosen);
    sets().choose("hub");
    EXPECT_EQ(sets().inUse().set.kind, ModelSet::Kind::hub);
}

TEST_F(ModelSetsTest, TakesTheNamedFolderBeforeAll) {
    fill(folder / "hub");
    fs::create_directories(folder / "mine");
    sets().choose("hub");
    const auto inUse = sets().inUse(folder / "mine");
    EXPECT_EQ(inUse.set, (ModelSet{ModelSet::Kind::folder, folder / "mine"}));
    EXPECT_EQ(inUse.reason, ModelSets::Reason::named);
    EXPECT_EQ(Testing::errorText([&] { sets().inUse(folder / "absent"); }),
              "there is no folder '" + (folder / "absent").string() + "' with models");
}

TEST_F(ModelSetsTest, DoesNotFallBackFromAnIncompleteHubThatWasChosen) {
    fs::create_directories(folder / "starter");
    sets().choose("hub");
    EXPECT_EQ(Testing::errorText([&] { sets().inUse(); }),
              "the hub's models are chosen, but not all of them are there; 'varnel models fetch' fetches them, "
              "'varnel models use starter' goes back");
}

TEST_F(ModelSetsTest, RefusesAChoiceThatIsNotThere) {
    EXPECT_EQ(Testing::errorText([&] { sets().choose("starter"); }),
              "the program was installed without starter models");
    EXPECT_THROW(sets().choose((folder / "absent").string()), ModelSetError);
    const fs::path odd = folder / "not utf-8 \xff";
    fs::create_directories(odd);
    EXPECT_THROW(sets().choose(odd.string()), ModelSetError);
    EXPECT_TRUE(settings.values.isEmpty());
}

TEST_F(ModelSetsTest, SaysWhenThereIsNothingAtAll) {
    EXPECT_TRUE(Testing::errorText([&] { sets().inUse(); }).starts_with("there are no models: "));
}

TEST_F(ModelSetsTest, LooksForTheStarterSetWhereItMayBe) {
    VarnelSpeech::Testing::EnvironmentScope environment;
    environment.set("XDG_DATA_HOME", "/data");
    environment.unset("VARNEL_STARTER_MODELS");
    auto places = ModelSets::Places::standard("/opt/varnel/bin", "/source/models/starter");
    EXPECT_EQ(places.hubRoot, "/data/VarnelSpeech/Models");
    EXPECT_EQ(places.starterRoots,
              (std::vector<fs::path>{"/opt/varnel/share/varnel/models/starter", "/source/models/starter"}));
    environment.set("VARNEL_STARTER_MODELS", "/named");
    places = ModelSets::Places::standard("/opt/varnel/bin", "/source/models/starter");
    EXPECT_EQ(places.starterRoots, (std::vector<fs::path>{"/named"}));
}

TEST_F(ModelSetsTest, TellsWhatASetHolds) {
    fill(folder / "hub");
    fs::remove(inHub("Encoder.mlmodelc/model.onnx"));
    fs::remove_all(inHub("JointDecision.mlmodelc"));
    std::map<std::string, ModelSetItem::State> states;
    for (const auto& item : items(sets().hub(), Repo::parakeet)) {
        states[item.name] = item.state;
        EXPECT_EQ(item.bytes > 0, item.state != ModelSetItem::State::missing) << item.name;
    }
    EXPECT_EQ(states,
              (std::map<std::string, ModelSetItem::State>{{"Preprocessor.mlmodelc", ModelSetItem::State::complete},
                                                          {"Encoder.mlmodelc", ModelSetItem::State::incomplete},
                                                          {"Decoder.mlmodelc", ModelSetItem::State::complete},
                                                          {"JointDecision.mlmodelc", ModelSetItem::State::missing},
                                                          {"parakeet_vocab.json", ModelSetItem::State::complete}}));
}

} // namespace
} // namespace Varnel
