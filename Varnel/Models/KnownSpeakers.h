#pragma once

#include <QString>

#include <cstddef>
#include <filesystem>
#include <vector>

namespace Varnel {

// All speakers of one name: the same person has one record in every meeting.
struct KnownSpeaker {
    QString name;
    QString colorHex;         // of the latest record
    bool isYou = false;       // in any meeting
    bool hasVoice = false;    // any record holds an embedding
    std::size_t meetings = 0; // a speaker without a meeting counts none
    double secondsSpoken = 0;

    bool operator==(const KnownSpeaker&) const = default;
};

// Everybody in the store, by name. Reads on a connection of its own, without making records. Throws StoreError.
std::vector<KnownSpeaker> knownSpeakers(const std::filesystem::path& store);

} // namespace Varnel
