#pragma once

#include "Varnel/Models/StoreConnection.h"

#include <QString>
#include <QUuid>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace Varnel {

// One run of a prepared statement: parameters in order, then the rows. The statement goes back to the connection at
// the end, so that no read transaction outlives its reader. Everything throws StoreError.
class StoreStatement {
public:
    StoreStatement(StoreConnection& connection, const std::string& sql);
    ~StoreStatement();
    StoreStatement(const StoreStatement&) = delete;
    StoreStatement& operator=(const StoreStatement&) = delete;

    // Binds the next parameter.
    StoreStatement& bind(std::int64_t value);
    StoreStatement& bind(double value); // not a number is stored as NULL
    StoreStatement& bind(const QString& value);
    StoreStatement& bind(const std::optional<QString>& value);
    StoreStatement& bind(const QUuid& value);
    StoreStatement& bind(std::span<const std::byte> value);
    StoreStatement& bindNull();

    // The next row, or false.
    bool next();
    // To the end; for statements without rows. Returns how many rows changed.
    int run();

    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const; // NULL reads as not a number
    QString text(int column) const;
    std::optional<QString> optionalText(int column) const;
    QUuid uuid(int column) const;
    // Valid until the next row.
    std::span<const std::byte> blob(int column) const;

private:
    StoreConnection& connection_;
    const std::string sql_;
    std::unique_ptr<SQLite::Statement> statement_;
    int parameter_ = 0;
};

} // namespace Varnel
