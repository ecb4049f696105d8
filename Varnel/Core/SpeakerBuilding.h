#pragma once

#include "Varnel/Models/ModelContext.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"
#include "Varnel/Refinement/TranscriptOutput.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace Varnel {

// Makes a meeting's speakers of a diarizer's keys. Main context only.
class SpeakerBuilding {
public:
    // Recognises a voice; see matchVoice.
    using Matcher = std::function<std::optional<SpeakerReidentifier::Match>(const Speaker::Embedding&)>;
    // Told of each speaker whose voice was recognised.
    using Matched = std::function<void(const SpeakerReidentifier::Match&)>;
    using SpeakersByKey = std::map<QString, std::shared_ptr<Speaker>>;

    // `embeddingModelDigest`, the network that measured the embeddings, is kept with each; none when it is unknown.
    SpeakerBuilding(ModelContext& context, std::shared_ptr<Meeting> meeting, Matcher matcher,
                    std::optional<QString> embeddingModelDigest = {})
        : context_(context),
          meeting_(std::move(meeting)),
          matcher_(std::move(matcher)),
          embeddingModelDigest_(std::move(embeddingModelDigest)) {}

    // One speaker a key, inserted and linked to the meeting in the ascending order of the keys: name, colour and flag
    // of the voice that it was recognised as, else "Speaker N" in the palette's N-th colour and not the user.
    SpeakersByKey build(const std::vector<Output::Segment>& segments, const Matched& matched = {}) const;

    // A speaker of the meeting that is the user.
    std::shared_ptr<Speaker> buildYou(std::optional<Speaker::Embedding> embedding) const;

private:
    std::shared_ptr<Speaker> insert(std::shared_ptr<Speaker> speaker) const;

    ModelContext& context_;
    std::shared_ptr<Meeting> meeting_;
    Matcher matcher_;
    std::optional<QString> embeddingModelDigest_;
};

// Makes, inserts and links a line of the meeting; none for a text of white space only.
std::shared_ptr<TranscriptSegment> insertSegment(ModelContext& context, const std::shared_ptr<Meeting>& meeting,
                                                 const Output::Segment& segment, std::shared_ptr<Speaker> speaker);

} // namespace Varnel
