// Downloads in processes of their own: killed, at the same time, and with a disk that is full. The child is this test
// program, started anew with the one test below.
#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"
#include "support/EnvironmentScope.h"
#include "support/FileText.h"
#include "support/HubModels.h"
#include "support/SmallDisk.h"
#include "support/TemporaryFolder.h"
#include "support/TestHub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <optional>

extern char** environ;

namespace VarnelSpeech {
namespace {

namespace fs = std::filesystem;
using Testing::addModels;
using Testing::contentsOf;
using testing::HasSubstr;
using Testing::HubEnvironment;
using Testing::HubFault;
using Testing::hubFilePath;
using testing::SizeIs;
using Testing::TemporaryFolder;
using Testing::TestHub;

const std::string bundle = "silero-vad-unified-256ms-v6.0.0.mlmodelc";
const std::string network = bundle + "/model.onnx";
constexpr std::size_t parameters = 50'000; // 200 kB of weights
constexpr std::uint64_t diskBytes = 64 * 1024;

// The child's work: fetches below VARNEL_TEST_ROOT and writes what came of it to VARNEL_TEST_REPORT.
TEST(DownloadChild, DISABLED_Fetches) {
    if (std::getenv("VARNEL_TEST_ROOT") == nullptr)
        GTEST_SKIP() << "started by the tests below alone";
    const fs::path root = std::getenv("VARNEL_TEST_ROOT");
    std::ofstream report(std::getenv("VARNEL_TEST_REPORT"));
    const std::string limit = std::getenv("VARNEL_TEST_LIMIT");
    std::optional<Testing::SmallDisk> disk;
    if (limit == "disk" && !disk.emplace(root, diskBytes).isMounted()) {
        report << "no disk";
        return;
    }
    if (limit == "size") {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit bound{diskBytes, diskBytes};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &bound), 0);
    }
    try {
        DownloadUtils::downloadRepo(Repo::vad, root);
        report << "done";
    } catch (const std::exception& error) {
        report << descriptionWithCause(error);
    }
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file())
            report << "\n" << entry.path().lexically_relative(root).string();
}

class Child {
public:
    Child(const fs::path& root, const fs::path& report, const char* limit = "") {
        Testing::EnvironmentScope environment;
        environment.set("VARNEL_TEST_ROOT", root.string());
        environment.set("VARNEL_TEST_REPORT", report.string());
        environment.set("VARNEL_TEST_LIMIT", limit);
        environment.unset("GTEST_OUTPUT");
        environment.unset("XML_OUTPUT_FILE");
        const char* arguments[] = {"/proc/self/exe", "--gtest_also_run_disabled_tests",
                                   "--gtest_filter=DownloadChild.DISABLED_Fetches", nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        if (::posix_spawn(&process_, "/proc/self/exe", &actions, nullptr, const_cast<char**>(arguments), environ) != 0)
            throw std::runtime_error("the test program could not be started");
        posix_spawn_file_actions_destroy(&actions);
    }

    ~Child() {
        if (process_ > 0) {
            kill();
            wait();
        }
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void kill() const { ::kill(process_, SIGKILL); }

    int wait() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }

private:
    pid_t process_ = -1;
};

class DownloadProcessTest : public testing::Test {
protected:
    DownloadProcessTest() { addModels(hub, Repo::vad, {}, parameters); }

    TestHub hub;
    HubEnvironment environment{hub.url()};
    TemporaryFolder root;
    TemporaryFolder reports;
    const fs::path file = root / "silero-vad-coreml" / network;
};

TEST_F(DownloadProcessTest, AKilledFetchIsGoneOnWith) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(100'000));
    {
        Child child(root.path(), reports / "1");
        ASSERT_TRUE(hub.waitForStalls(1));
        // What was sent is on its way through the child: wait until some of it is in the file.
        while (!fs::exists(file.string() + ".part") || fs::file_size(file.string() + ".part") == 0)
            ::sched_yield();
        child.kill();
        EXPECT_TRUE(WIFSIGNALED(child.wait()));
    }
    EXPECT_FALSE(fs::exists(file));
    const auto size = fs::file_size(file.string() + ".part");
    EXPECT_LE(size, 100'000U);
    hub.clearFault(hubFilePath(Repo::vad, network));
    hub.forgetRequests();

    const auto models = DownloadUtils::loadModels(Repo::vad, {bundle}, root.path(), {});
    EXPECT_THAT(models, SizeIs(1)); // its sum was checked
    const auto requests = hub.requestsFor(hubFilePath(Repo::vad, network));
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(requests[0].header("range"), "bytes=" + std::to_string(size) + "-");
    EXPECT_FALSE(fs::exists(file.string() + ".part"));
}

TEST_F(DownloadProcessTest, TwoProcessesFetchOneRepositoryOnce) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::stallAt(100'000).forTimes(1));
    Child first(root.path(), reports / "1");
    ASSERT_TRUE(hub.waitForStalls(1));
    Child second(root.path(), reports / "2");
    hub.releaseStalls();
    first.wait();
    second.wait();
    EXPECT_THAT(contentsOf(reports / "1"), testing::StartsWith("done"));
    EXPECT_THAT(contentsOf(reports / "2"), testing::StartsWith("done"));
    EXPECT_THAT(hub.requestsFor(hubFilePath(Repo::vad, network)), SizeIs(1));
    EXPECT_THAT(DownloadUtils::loadModels(Repo::vad, {bundle}, root.path(), {}), SizeIs(1));
}

TEST_F(DownloadProcessTest, AFullDiskIsOneClearErrorAndLeavesNoHalfFile) {
    Child(root.path(), reports / "disk", "disk").wait();
    const std::string onDisk = contentsOf(reports / "disk");
    if (onDisk != "no disk") { // where this user may not mount one, the size limit below stands for it
        EXPECT_THAT(onDisk,
                    testing::StartsWith("Cannot write '" + file.string() + ".part': No space left on device ("));
        EXPECT_THAT(onDisk, testing::Not(HasSubstr(network + "\n")));
    }

    Child(root.path(), reports / "size", "size").wait();
    const std::string onLimit = contentsOf(reports / "size");
    EXPECT_THAT(onLimit, testing::StartsWith("Cannot write '" + file.string() + ".part': File too large ("));
    EXPECT_FALSE(fs::exists(file));
    DownloadUtils::downloadRepo(Repo::vad, root.path());
    EXPECT_THAT(DownloadUtils::loadModels(Repo::vad, {bundle}, root.path(), {}), SizeIs(1));
}

TEST_F(DownloadProcessTest, ADiskThatFillsUpWhileAFileOfUnknownSizeComesIsTheSameError) {
    hub.setFault(hubFilePath(Repo::vad, network), HubFault::of(HubFault::Kind::chunked));
    for (const char* limit : {"disk", "size"}) {
        Child(root.path(), reports / limit, limit).wait();
        const std::string report = contentsOf(reports / limit);
        if (report != "no disk") {
            EXPECT_THAT(report, testing::StartsWith("Cannot write '" + file.string() + ".part': ")) << limit;
        }
    }
    EXPECT_THAT(contentsOf(reports / "size"), HasSubstr("File too large"));
}

TEST_F(DownloadProcessTest, TheSessionUsesTheProxyOfTheEnvironment) {
    environment.set("http_proxy", hub.url());
    environment.set("REGISTRY_URL", "http://models.example");
    Child(root.path(), reports / "1").wait();
    EXPECT_THAT(contentsOf(reports / "1"), testing::StartsWith("done"));
    for (const auto& request : hub.requests())
        EXPECT_THAT(request.target, testing::StartsWith("http://models.example/"));
}

} // namespace
} // namespace VarnelSpeech
