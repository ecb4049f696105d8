#include "Varnel/CommandLine/Output.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/MemoryFile.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace Varnel::CommandLine {
namespace {

TEST(Output, WritesBytesAsTheyAre) {
    Testing::MemoryFile file;
    Output output(file.stream());
    output.write("a\n");
    output.bytes(QByteArray("b\0c", 3));
    output.line(QString::fromUtf8("ü"));
    EXPECT_EQ(file.text(), std::string("a\nb\0cü\n", 8));
}

TEST(Output, TellsOfAFullDisk) {
    std::FILE* full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    Output output(full);
    try {
        output.write("x");
        output.flush();
        FAIL() << "nothing was told";
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), "cannot write to standard output: No space left on device");
        EXPECT_EQ(error.code(), failure);
    }
    std::fclose(full);
}

TEST(Output, KnowsAReaderThatWentAway) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    std::FILE* closed = fdopen(ends[1], "w");
    Output output(closed);
    EXPECT_THROW(
        {
            output.write("x");
            output.flush();
        },
        OutputClosed);
    std::fclose(closed);
    std::signal(SIGPIPE, before);
}

TEST(Output, PrintsJsonForPeople) {
    EXPECT_EQ(prettyText({{"z", 3600.0}, {"a", 0.1}, {"list", {1.0, "ü/"}}, {"none", nlohmann::ordered_json::array()}}),
              "{\n  \"z\": 3600,\n  \"a\": 0.1,\n  \"list\": [\n    1,\n    \"ü/\"\n  ],\n  \"none\": []\n}");
    EXPECT_EQ(prettyText(std::string("bad \xff")), "\"bad \xef\xbf\xbd\"");
}

TEST(ReadAll, ReadsToTheEndButNoFurtherThanTheLimit) {
    Testing::MemoryFile file(std::string(100'000, 'x'));
    EXPECT_EQ(readAll(file.stream(), 100'000).size(), 100'000U);
    std::rewind(file.stream());
    EXPECT_THROW(readAll(file.stream(), 99'999), CommandError);
}

} // namespace
} // namespace Varnel::CommandLine
