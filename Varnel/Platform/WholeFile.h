#pragma once

#include <QByteArray>
#include <QSaveFile>
#include <QString>

namespace Varnel {

// A file that is written whole or not at all: a temporary file beside it, flushed to disk, takes its place at `commit`;
// without one, nothing is left behind. A file that is replaced keeps its permissions, a new one is 0600. Failures are
// std::runtime_error with the system's reason alone, for the caller to say what it was about.
class WholeFile {
public:
    explicit WholeFile(const QString& path);

    void write(const char* bytes, qint64 size);

    void write(const QByteArray& bytes) { write(bytes.constData(), bytes.size()); }

    void commit();

private:
    [[noreturn]] void fail() const;

    QSaveFile file_;
};

} // namespace Varnel
