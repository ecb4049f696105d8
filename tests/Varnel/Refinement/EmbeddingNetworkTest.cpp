#include "Varnel/Refinement/EmbeddingNetwork.h"

#include "VarnelSpeech/Inference/ModelBundle.h"
#include "support/TemporaryFolder.h"
#include "support/TinyOnnxModels.h"

#include <QCryptographicHash>
#include <QFile>

#include <gtest/gtest.h>

#include <fstream>

namespace Varnel {
namespace {

class EmbeddingNetworkTest : public ::testing::Test {
protected:
    ModelSet set() const { return {ModelSet::Kind::folder, folder_.path()}; }

    VarnelSpeech::Testing::TemporaryFolder folder_;
};

TEST_F(EmbeddingNetworkTest, ItsDigestIsTheSumOfTheNetworksFile) {
    std::filesystem::create_directories(set().folder(VarnelSpeech::Repo::diarizer));
    const auto bundle = set().folder(VarnelSpeech::Repo::diarizer) / "wespeaker_v2.mlmodelc";
    const EmbeddingNetwork network(set());
    EXPECT_EQ(network.digest(), std::nullopt) << "not there yet";
    VarnelSpeech::Testing::TinyOnnxModels::identity({1, 4}).writeBundle(bundle);
    QFile file(QString::fromStdString((bundle / "model.onnx").string()));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(network.digest(),
              QString::fromLatin1(QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex()));
}

TEST_F(EmbeddingNetworkTest, AnUnknownOrDamagedOneHasNoDigest) {
    EXPECT_EQ(EmbeddingNetwork().digest(), std::nullopt);
    const auto bundle = set().folder(VarnelSpeech::Repo::diarizer) / "wespeaker_v2.mlmodelc";
    std::filesystem::create_directories(bundle);
    std::ofstream(bundle / "coremldata.bin") << "{";
    EXPECT_EQ(EmbeddingNetwork(set()).digest(), std::nullopt);
}

} // namespace
} // namespace Varnel
