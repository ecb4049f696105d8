#pragma once

namespace VarnelSpeech {

// What the joint network says of one encoder frame after one token.
struct JointDecision {
    int token = 0;
    float probability = 0; // as the network gave it, unclamped
    int durationBin = 0;   // index into TdtConfig::durationBins
};

} // namespace VarnelSpeech
