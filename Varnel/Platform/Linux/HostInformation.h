#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace Varnel {

// What the program asks of the machine it runs on.

// Whether a standard stream (0, 1, 2) is a terminal.
bool isTerminal(int descriptor);
// Columns of the terminal behind a descriptor; 80 when it does not tell.
int terminalColumns(int descriptor);

// Files and folders made from here on are the user's alone.
void makeNewFilesPrivate();
// A reader that went away is an error of the write, not the end of the process.
void ignoreBrokenPipes();

unsigned processorCount();
std::uint64_t memoryBytes(); // 0 when unknown

// The permission bits of a file as seen by others than its owner are all off.
bool isPrivate(const std::filesystem::path& path);
// Whether the user may make files in the folder.
bool isWritable(const std::filesystem::path& folder);
// Bytes that the user may still write where `path`, or its nearest existing parent, lies.
std::optional<std::uint64_t> freeBytes(std::filesystem::path path);

} // namespace Varnel
