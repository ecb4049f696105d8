#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// One line about the machine, for the log.
namespace VarnelSpeech::SystemInfo {

// "macOS Debian GNU/Linux 12 (bookworm), arch=x86_64, chip=..., cores=8/8, mem=31.2 GB, rosetta=false". The first word
// is the line's own; every value is read from this host.
std::string summary();

// The parts that are read from text, for tests: the value of PRETTY_NAME in an os-release file, without its quotes,
// and that of the first "model name" of a cpuinfo file; empty if there is none.
std::string prettyName(std::string_view osRelease);
std::string modelName(std::string_view cpuInfo);

// "512 bytes", "1.5 KB", "16 GB": steps of 1024, at most one digit after the point.
std::string readableByteCount(std::uint64_t bytes);

} // namespace VarnelSpeech::SystemInfo
