#pragma once

#include <QString>

#include <cstdint>
#include <vector>

namespace Varnel {

// A track of short beeps on silence: what stands for the audio of a meeting that was never recorded.

// `sampleCount` samples at `sampleRate` Hz; each of `beepTimes` (seconds) starts a beep of 440 Hz and 0.18 s. Beeps
// before the beginning start at it, those beyond the end are left out; of two that overlap the later in the list wins.
std::vector<std::int16_t> beepSamples(std::int64_t sampleCount, int sampleRate, const std::vector<double>& beepTimes);

// The same as a WAV file of 16 kHz, one channel, 16 bits, `duration` seconds (nothing for a negative one); replaces
// what is there, whole or not at all. Memory stays at a block of samples. Throws std::runtime_error
// "cannot write 'PATH': " and the reason; a track that no WAV header can state is one.
void writeBeepWAV(const QString& path, double duration, const std::vector<double>& beepTimes);

} // namespace Varnel
