#include "Varnel/Platform/WholeFile.h"

#include <QFile>

#include <stdexcept>

namespace Varnel {

WholeFile::WholeFile(const QString& path) : file_(path) {
    const bool isNew = !QFile::exists(path);
    if (!file_.open(QIODevice::WriteOnly))
        fail();
    if (isNew && !file_.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        fail();
}

// A device that is filling up takes a part first and says why it takes no more at the next call.
void WholeFile::write(const char* bytes, qint64 size) {
    while (size > 0) {
        const qint64 written = file_.write(bytes, size);
        if (written <= 0)
            fail();
        bytes += written;
        size -= written;
    }
}

void WholeFile::commit() {
    if (!file_.commit())
        fail();
}

void WholeFile::fail() const {
    throw std::runtime_error(file_.errorString().toStdString());
}

} // namespace Varnel
