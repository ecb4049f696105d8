#pragma once

#include <QUuid>

#include <filesystem>

namespace Varnel {

// Copies an audio file into the recordings folder, which is made (0700, like what is missing above it) when it is
// absent: flushed to disk, whole or not at all, readable by the user alone. The name is `id`, "-mic" and the file's
// extension (left out when it is more than letters and digits). Returns the copy's path.
// Throws std::runtime_error "cannot copy 'FROM' to 'TO': " and the reason.
std::filesystem::path copyIntoRecordings(const std::filesystem::path& file, const std::filesystem::path& folder,
                                         const QUuid& id);

// Deletes a recording: `file` must be the absolute path of a regular file, no link, that lies directly inside the
// folder, whatever a record says. Anything else stays; so does, without an error, what cannot be deleted. Returns
// whether it is gone by this.
bool removeRecording(const std::filesystem::path& file, const std::filesystem::path& folder);

} // namespace Varnel
