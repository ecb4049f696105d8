#pragma once

#include "Varnel/Refinement/ModelSets.h"

#include <QString>

#include <filesystem>
#include <optional>

namespace Varnel {

// The network that measures voices. Those of different networks are not comparable, so that each stored voice keeps
// the digest of the one that it was measured with.
class EmbeddingNetwork {
public:
    // An unknown one.
    EmbeddingNetwork() = default;
    // The one of a model set.
    explicit EmbeddingNetwork(const ModelSet& set);

    // SHA-256 of the network, 64 lower-case hexadecimal digits, as its bundle's manifest has it at the moment; none
    // when it is unknown or its bundle is not there (yet).
    std::optional<QString> digest() const;

private:
    std::filesystem::path bundle_;
};

} // namespace Varnel
