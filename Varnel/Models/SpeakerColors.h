#pragma once

#include <QString>

#include <array>
#include <cstddef>

namespace Varnel {

// The colours of speakers, by index modulo their number. The user's own colour is not among them.
inline constexpr std::array<const char*, 7> speakerPalette{"#EC4899", "#10B981", "#F59E0B", "#8B5CF6",
                                                           "#EF4444", "#0EA5E9", "#14B8A6"};
inline constexpr const char* yourColor = "#3B82F6";

inline QString speakerColor(std::size_t index) {
    return QString::fromLatin1(speakerPalette[index % speakerPalette.size()]);
}

} // namespace Varnel
