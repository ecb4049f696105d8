#include "VarnelSpeech/Shared/AssetDownloader.h"
#include "VarnelSpeech/Shared/HttpError.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"
#include "VarnelSpeech/Shared/RepositoryListingError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace VarnelSpeech {
namespace {

using testing::HasSubstr;

TEST(HuggingFaceDownloadErrorText, IsFixedForEachCase) {
    const auto limited = HuggingFaceDownloadError::rateLimited(429, "Rate limited while listing files");
    EXPECT_STREQ(limited.what(), "Hugging Face rate limit encountered: Rate limited while listing files");
    EXPECT_EQ(limited.statusCode(), 429);
    EXPECT_EQ(limited.error(), HuggingFaceDownloadError::Case::rateLimited);
    const auto failed =
        HuggingFaceDownloadError::downloadFailed("a/b", std::make_exception_ptr(std::runtime_error("cut")));
    EXPECT_STREQ(failed.what(), "Failed to download a/b");
    EXPECT_EQ(descriptionWithCause(failed), "Failed to download a/b: cut");
    EXPECT_STREQ(HuggingFaceDownloadError::modelNotFound("/x/y").what(), "Model file not found: /x/y");
    EXPECT_STREQ(HuggingFaceDownloadError::invalidResponse().what(), "Received an invalid response from Hugging Face.");
}

TEST(HttpErrorText, NamesTheStatus) {
    EXPECT_STREQ(HttpError(404).what(), "HTTP 404");
    EXPECT_STREQ(HttpError(500, "a/b").what(), "HTTP 500 while downloading a/b");
    EXPECT_STREQ(HttpError::domain, "HTTP");
}

TEST(AssetDownloaderErrorText, NamesTheStatusAndTheAsset) {
    EXPECT_STREQ(AssetDownloader::Error::invalidResponse("the lexicon", 404).what(),
                 "Unexpected response (status 404) while downloading the lexicon");
}

TEST(ModelFileErrorText, SaysWhatWhereAndHowMuch) {
    const auto full = ModelFileError::outOfSpace("/models/a", 1000, 10);
    EXPECT_EQ(full.error(), ModelFileError::Case::fileWriteOutOfSpace);
    EXPECT_STREQ(full.what(), "Cannot write '/models/a': No space left on device (1000 bytes to write, 10 free)");
    EXPECT_EQ(ModelFileError::fromErrno(ENOSPC, "write", "/tmp/a", 7).error(),
              ModelFileError::Case::fileWriteOutOfSpace);
    EXPECT_STREQ(ModelFileError::fromErrno(EDQUOT, "write", "/tmp/a", 7).what(),
                 "Cannot write '/tmp/a': Disk quota exceeded (7 bytes to write)");
    EXPECT_STREQ(ModelFileError::fromErrno(EACCES, "open the folder", "/a\nb").what(),
                 "Cannot open the folder '/a\\nb': Permission denied");
}

TEST(RepositoryListingErrorText, IsOneLineHoweverHostileThePath) {
    const auto error = RepositoryListingError::unsafePath("../a\n" + std::string(5000, 'x'));
    EXPECT_THAT(error.what(), HasSubstr("'../a\\nxxx"));
    EXPECT_LT(std::string(error.what()).size(), 400U);
    EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
}

} // namespace
} // namespace VarnelSpeech
