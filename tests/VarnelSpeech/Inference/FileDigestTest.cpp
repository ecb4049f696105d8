#include "VarnelSpeech/Inference/FileDigest.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

namespace VarnelSpeech {
namespace {

using Testing::TemporaryFolder;

std::filesystem::path write(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

// The examples of the standard, FIPS 180-4.
TEST(FileDigest, IsTheSha256Sum) {
    const TemporaryFolder folder;
    EXPECT_EQ(digestOfFile(write(folder / "abc", "abc")).sha256,
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digestOfFile(write(folder / "empty", "")).sha256,
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    const FileDigest million = digestOfFile(write(folder / "million", std::string(1000000, 'a')));
    EXPECT_EQ(million.sha256, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    EXPECT_EQ(million.size, 1000000U);
}

TEST(FileDigest, ReportsWhatCannotBeRead) {
    const TemporaryFolder folder;
    EXPECT_THROW(digestOfFile(folder / "absent"), std::system_error);
    EXPECT_THROW(digestOfFile(folder.path()), std::system_error);
}

} // namespace
} // namespace VarnelSpeech
