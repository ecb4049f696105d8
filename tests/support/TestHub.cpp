#include "support/TestHub.h"

#include "support/TestHubServer.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <utility>

namespace VarnelSpeech::Testing {

TestHub::TestHub() : server_(std::make_unique<Server>()) {}

TestHub::~TestHub() = default;

std::uint16_t TestHub::port() const {
    return server_->port();
}

std::string TestHub::url() const {
    return "http://127.0.0.1:" + std::to_string(port());
}

std::string TestHub::urlOfOtherHost() const {
    return "http://localhost:" + std::to_string(port());
}

void TestHub::addFile(const std::string& repository, const std::string& path, std::string bytes) {
    const std::lock_guard lock(server_->mutex_);
    server_->repositories_[repository][path] = std::move(bytes);
}

void TestHub::addFolder(const std::string& repository, const std::filesystem::path& folder, const std::string& prefix) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        addFile(repository, prefix + entry.path().lexically_relative(folder).generic_string(),
                std::string(std::istreambuf_iterator<char>(file), {}));
    }
}

void TestHub::removeFile(const std::string& repository, const std::string& path) {
    const std::lock_guard lock(server_->mutex_);
    server_->repositories_[repository].erase(path);
}

std::string TestHub::listingPath(const std::string& repository, const std::string& folder) {
    return "/api/models/" + repository + "/tree/main" + (folder.empty() ? "" : "/") + folder;
}

std::string TestHub::filePath(const std::string& repository, const std::string& path) {
    return "/" + repository + "/resolve/main/" + path;
}

void TestHub::setAnswer(const std::string& path, std::string body) {
    const std::lock_guard lock(server_->mutex_);
    server_->answers_[path] = std::move(body);
}

void TestHub::setFault(const std::string& path, HubFault fault) {
    const std::lock_guard lock(server_->mutex_);
    server_->faults_[path] = std::move(fault);
}

void TestHub::clearFault(const std::string& path) {
    const std::lock_guard lock(server_->mutex_);
    server_->faults_.erase(path);
}

std::vector<TestHub::Request> TestHub::requests() const {
    const std::lock_guard lock(server_->mutex_);
    return server_->requests_;
}

std::vector<TestHub::Request> TestHub::requestsFor(const std::string& path) const {
    std::vector<Request> found;
    for (Request& request : requests())
        if (request.path == path)
            found.push_back(std::move(request));
    return found;
}

void TestHub::forgetRequests() {
    const std::lock_guard lock(server_->mutex_);
    server_->requests_.clear();
}

bool TestHub::waitForStalls(std::size_t count, double seconds) const {
    std::unique_lock lock(server_->mutex_);
    return server_->changed_.wait_for(lock, std::chrono::duration<double>(seconds),
                                      [&] { return server_->stalls_ >= count; });
}

void TestHub::releaseStalls() {
    const std::lock_guard lock(server_->mutex_);
    server_->isReleased_ = true;
    server_->changed_.notify_all();
}

void TestHub::onRequest(std::function<void(const Request&)> handler) {
    const std::lock_guard lock(server_->mutex_);
    server_->handler_ = std::move(handler);
}

} // namespace VarnelSpeech::Testing
