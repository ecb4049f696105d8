#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace VarnelSpeech::Testing {

// What the hub does instead of answering a request properly.
struct HubFault {
    enum class Kind {
        status,        // answers with `status`
        cut,           // closes the connection when the body has come to byte `at` of the file
        stall,         // sends no more from byte `at` on, and keeps the connection open
        silence,       // as a stall, before the first byte of the answer
        contentLength, // tells of `delta` bytes more (less, if negative) than it sends
        redirect,      // sends the client to `location`
        ignoreRange,   // answers a request for a range with the whole
        wrongRange,    // answers a request for a range from its middle on
        chunked,       // sends the body in chunks, without its length
    };

    Kind kind = Kind::status;
    int status = 500;
    std::uint64_t at = 0;
    std::int64_t delta = 0;
    std::string location;                                        // redirect; a path of the hub, or a URL
    std::size_t times = std::numeric_limits<std::size_t>::max(); // requests that it serves so, then no more

    static HubFault withStatus(int status);
    static HubFault cutAt(std::uint64_t offset);
    static HubFault stallAt(std::uint64_t offset);
    static HubFault lyingAboutLength(std::int64_t delta);
    static HubFault redirectTo(std::string location);
    static HubFault of(Kind kind);
    HubFault forTimes(std::size_t count) const;
};

} // namespace VarnelSpeech::Testing
