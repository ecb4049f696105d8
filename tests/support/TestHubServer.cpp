#include "support/TestHubServer.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <limits>
#include <set>

namespace VarnelSpeech::Testing {

namespace {

constexpr std::size_t blockBytes = 16 * 1024;

std::string etagOf(const std::string& bytes) {
    return "\"" + std::to_string(std::hash<std::string>{}(bytes)) + "\"";
}

} // namespace

TestHub::Server::~Server() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        changed_.notify_all();
    }
    sockets_.stop();
}

void TestHub::Server::serve(int socket, std::uint64_t number) {
    std::string buffer;
    while (auto request = readRequest(socket, buffer)) {
        request->connection = number;
        std::function<void(const Request&)> handler;
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(*request);
            handler = handler_;
            changed_.notify_all();
        }
        if (handler)
            handler(*request);
        if (!send(socket, answer(*request)))
            break;
    }
}

TestHub::Server::Answer TestHub::Server::answer(const Request& request) {
    const std::lock_guard lock(mutex_);
    Answer answer;
    if (request.method != "GET") {
        answer.status = 405;
        return answer;
    }
    if (const auto found = faults_.find(request.path); found != faults_.end() && found->second.times > 0) {
        answer.fault = found->second;
        --found->second.times;
    }
    if (answer.fault && answer.fault->kind == HubFault::Kind::status) {
        answer.status = answer.fault->status;
        answer.body = "an error\n";
        return answer;
    }
    if (answer.fault && answer.fault->kind == HubFault::Kind::redirect) {
        answer.status = 302;
        answer.headers["Location"] = answer.fault->location;
        return answer;
    }
    const auto body = bodyFor(request.path);
    if (!body) {
        answer.status = 404;
        answer.body = "Entry not found\n";
        return answer;
    }
    answer.body = *body;
    answer.headers["ETag"] = etagOf(*body);
    applyRange(request, answer);
    return answer;
}

std::optional<std::string> TestHub::Server::bodyFor(const std::string& path) const {
    if (const auto found = answers_.find(path); found != answers_.end())
        return found->second;
    for (const auto& [name, files] : repositories_) {
        const std::string listing = listingPath(name);
        if (path == listing || path.starts_with(listing + "/"))
            return list(files, path.size() > listing.size() ? path.substr(listing.size() + 1) : std::string());
        const std::string folder = filePath(name, "");
        if (path.starts_with(folder)) {
            const auto file = files.find(path.substr(folder.size()));
            return file == files.end() ? std::nullopt : std::optional(file->second);
        }
    }
    return std::nullopt;
}

std::string TestHub::Server::list(const std::map<std::string, std::string>& files, const std::string& folder) {
    const std::string prefix = folder.empty() ? std::string() : folder + "/";
    auto entries = nlohmann::json::array();
    std::set<std::string> folders;
    for (const auto& [path, bytes] : files) {
        if (!path.starts_with(prefix))
            continue;
        const auto slash = path.find('/', prefix.size());
        if (slash == std::string::npos)
            entries.push_back({{"type", "file"}, {"path", path}, {"size", bytes.size()}, {"oid", "0"}});
        else if (folders.insert(path.substr(0, slash)).second)
            entries.push_back({{"type", "directory"}, {"path", path.substr(0, slash)}, {"size", 0}});
    }
    return entries.dump();
}

void TestHub::Server::applyRange(const Request& request, Answer& answer) {
    const std::string range = request.header("range");
    const std::string wholeSize = std::to_string(answer.body.size());
    const bool isIgnored = answer.fault && answer.fault->kind == HubFault::Kind::ignoreRange;
    const std::string condition = request.header("if-range");
    if (!range.starts_with("bytes=") || isIgnored || (!condition.empty() && condition != answer.headers["ETag"]))
        return;
    std::uint64_t first = 0;
    std::from_chars(range.data() + 6, range.data() + range.size(), first);
    if (first >= answer.body.size()) {
        answer.status = 416;
        answer.body.clear();
        answer.headers["Content-Range"] = "bytes */" + wholeSize;
        return;
    }
    if (answer.fault && answer.fault->kind == HubFault::Kind::wrongRange)
        first += (answer.body.size() - first) / 2;
    answer.status = 206;
    answer.offset = first;
    answer.headers["Content-Range"] =
        "bytes " + std::to_string(first) + "-" + std::to_string(answer.body.size() - 1) + "/" + wholeSize;
    answer.body.erase(0, first);
}

bool TestHub::Server::send(int socket, const Answer& answer) {
    const auto fails = [&](HubFault::Kind kind) { return answer.fault && answer.fault->kind == kind; };
    if (fails(HubFault::Kind::silence) && !stall())
        return false;
    const bool isChunked = fails(HubFault::Kind::chunked);
    std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " X\r\n";
    if (isChunked)
        head += "Transfer-Encoding: chunked\r\n";
    else
        head += "Content-Length: " +
                std::to_string(static_cast<std::int64_t>(answer.body.size()) +
                               (fails(HubFault::Kind::contentLength) ? answer.fault->delta : 0)) +
                "\r\n";
    for (const auto& [name, value] : answer.headers)
        head += name + ": " + value + "\r\n";
    if (!sendAll(socket, head + "\r\n"))
        return false;

    const bool isLimited = fails(HubFault::Kind::cut) || fails(HubFault::Kind::stall);
    const std::uint64_t limit = isLimited ? answer.fault->at : std::numeric_limits<std::uint64_t>::max();
    for (std::size_t sent = 0; sent < answer.body.size();) {
        const std::uint64_t position = answer.offset + sent;
        if (position >= limit) {
            if (fails(HubFault::Kind::cut) || !stall())
                return false;
            return sendAll(socket, std::string_view(answer.body).substr(sent));
        }
        const auto left = static_cast<std::size_t>(std::min<std::uint64_t>(limit - position, blockBytes));
        const std::string_view block = std::string_view(answer.body).substr(sent, left);
        if (isChunked) {
            char size[20];
            const auto text = std::to_chars(size, size + sizeof size, block.size(), 16);
            if (!sendAll(socket, std::string(size, text.ptr) + "\r\n" + std::string(block) + "\r\n"))
                return false;
        } else if (!sendAll(socket, block)) {
            return false;
        }
        sent += block.size();
    }
    if (isChunked && !sendAll(socket, "0\r\n\r\n"))
        return false;
    return !fails(HubFault::Kind::contentLength);
}

bool TestHub::Server::stall() {
    std::unique_lock lock(mutex_);
    ++stalls_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isReleased_ || isStopping_; });
    --stalls_;
    return !isStopping_;
}

} // namespace VarnelSpeech::Testing
