#pragma once

#include <QCoroTask>
#include <QStringList>

#include <filesystem>
#include <optional>

namespace Varnel {

// Lets the user pick a file. Main context only.
class FileChooser {
public:
    virtual ~FileChooser() = default;

    // Shows a modal dialogue for one existing file of these MIME types ("audio/*" stands for a family); no folders.
    // None when the user cancels, and when no dialogue can be shown. Never throws.
    virtual QCoro::Task<std::optional<std::filesystem::path>> chooseFile(QStringList mimeTypes) = 0;
};

} // namespace Varnel
