#pragma once

namespace VarnelSpeech {

// How known speakers enter a database that may already hold some of them.
enum class SpeakerInitializationMode {
    reset,     // the database is emptied first
    merge,     // a speaker already present takes up the new one's history
    overwrite, // a speaker already present is replaced
    skip,      // a speaker already present stays as it is
};

} // namespace VarnelSpeech
