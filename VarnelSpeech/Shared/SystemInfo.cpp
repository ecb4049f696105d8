#include "VarnelSpeech/Shared/SystemInfo.h"

#include <fmt/format.h>

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>

namespace VarnelSpeech::SystemInfo {

namespace {

std::string fileText(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\"'";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// The value of the first line whose trimmed key is `key`.
std::string value(std::string_view text, std::string_view key, char separator) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const std::size_t middle = line.find(separator);
        if (middle != std::string_view::npos && trimmed(line.substr(0, middle)) == key)
            return std::string(trimmed(line.substr(middle + 1)));
    }
    return {};
}

utsname kernel() {
    utsname name{};
    uname(&name);
    return name;
}

std::string operatingSystem() {
    std::string name = prettyName(fileText("/etc/os-release"));
    if (!name.empty())
        return name;
    return fmt::format("{} {}", kernel().sysname, kernel().release);
}

std::string architecture() {
    const std::string machine = kernel().machine;
    return machine == "aarch64" ? "arm64" : machine;
}

std::string chip() {
    for (const std::string& name : {modelName(fileText("/proc/cpuinfo")),
                                    std::string(trimmed(fileText("/sys/devices/virtual/dmi/id/product_name")))})
        if (!name.empty())
            return name;
    return "unknown";
}

std::uint64_t physicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize) : 0;
}

} // namespace

std::string summary() {
    return fmt::format("macOS {}, arch={}, chip={}, cores={}/{}, mem={}, rosetta={}", operatingSystem(), architecture(),
                       chip(), sysconf(_SC_NPROCESSORS_ONLN), sysconf(_SC_NPROCESSORS_CONF),
                       readableByteCount(physicalMemory()), false);
}

std::string prettyName(std::string_view osRelease) {
    return value(osRelease, "PRETTY_NAME", '=');
}

std::string modelName(std::string_view cpuInfo) {
    return value(cpuInfo, "model name", ':');
}

std::string readableByteCount(std::uint64_t bytes) {
    constexpr std::array<std::string_view, 6> units{"KB", "MB", "GB", "TB", "PB", "EB"};
    if (bytes < 1024)
        return fmt::format("{} bytes", bytes);
    double count = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; count >= 1023.95 && unit + 1 < units.size(); ++unit)
        count /= 1024;
    std::string digits = fmt::format("{:.1f}", count);
    if (digits.ends_with(".0"))
        digits.resize(digits.size() - 2);
    return fmt::format("{} {}", digits, units[unit]);
}

} // namespace VarnelSpeech::SystemInfo
