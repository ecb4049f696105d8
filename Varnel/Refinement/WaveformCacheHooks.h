#pragma once

#include <QString>

namespace Varnel {

// What the cache of waveforms is told by those who change recordings. Main context only.
class WaveformCacheHooks {
public:
    virtual ~WaveformCacheHooks() = default;

    // The file is going: its peaks are dropped, and it no longer counts as being computed.
    virtual void forget(const QString& path) = 0;
};

} // namespace Varnel
