#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

namespace Varnel::Testing {

// Compares bytes with the file of that name in the folder golden/ beside the tests. Run the tests with
// VARNEL_REBASELINE=1 to write the files anew, and look at the difference before it is committed.
inline void expectGolden(const QByteArray& bytes, const QString& name) {
    QFile file(QStringLiteral(VARNEL_SOURCE_DIR "/tests/Varnel/Refinement/golden/") + name);
    if (qEnvironmentVariableIntValue("VARNEL_REBASELINE") != 0) {
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) << name.toStdString();
        return;
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString() << " is missing; VARNEL_REBASELINE=1 writes it";
    EXPECT_EQ(bytes.toStdString(), file.readAll().toStdString()) << name.toStdString();
}

} // namespace Varnel::Testing
