#pragma once

namespace Varnel::AIPrompts {

// The system messages of the four questions. Models were chosen with these words: they stay as they are, whatever the
// language of the transcript.
extern const char* const names;
extern const char* const summary;
extern const char* const actionItems;
extern const char* const topics;

} // namespace Varnel::AIPrompts
