#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace VarnelSpeech {

// One object of a hub's listing.
struct ListingEntry {
    std::string path;
    std::string type; // "file", "directory"
};

// Reads a JSON array of objects with the strings "path" and "type", whatever else they hold, in one pass and without
// keeping what is not wanted. Throws HuggingFaceDownloadError invalidResponse for anything else, and for more than
// `maximumEntries` objects.
std::vector<ListingEntry> readListing(std::span<const std::byte> body, std::size_t maximumEntries);

} // namespace VarnelSpeech
