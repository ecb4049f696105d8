#include "Varnel/Models/StoreStatement.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <limits>

namespace Varnel {

namespace {

// Whether the statement was to change the store decides what its failure is called.
bool changes(const std::string& sql) {
    return !sql.starts_with("SELECT") && !sql.starts_with("PRAGMA");
}

} // namespace

StoreStatement::StoreStatement(StoreConnection& connection, const std::string& sql)
    : connection_(connection), sql_(sql) {
    if (const auto idle = connection.idleStatements_.extract(sql)) {
        statement_ = std::move(idle.mapped());
        return;
    }
    try {
        statement_ = std::make_unique<SQLite::Statement>(connection.database(), sql);
    } catch (const SQLite::Exception& error) {
        connection.fail(error.getErrorCode(), "read", StoreError::Case::readFailed);
    }
}

StoreStatement::~StoreStatement() {
    statement_->tryReset();
    try {
        statement_->clearBindings();
        connection_.idleStatements_.try_emplace(sql_, std::move(statement_));
    } catch (const std::exception&) {
        statement_.reset(); // it is prepared anew the next time
    }
}

StoreStatement& StoreStatement::bind(std::int64_t value) {
    statement_->bind(++parameter_, value);
    return *this;
}

StoreStatement& StoreStatement::bind(double value) {
    statement_->bind(++parameter_, value);
    return *this;
}

StoreStatement& StoreStatement::bind(const QString& value) {
    try {
        statement_->bind(++parameter_, value.toStdString());
    } catch (const SQLite::Exception& error) {
        connection_.fail(error.getErrorCode(), "change", StoreError::Case::writeFailed); // longer than SQLite allows
    }
    return *this;
}

StoreStatement& StoreStatement::bind(const std::optional<QString>& value) {
    return value ? bind(*value) : bindNull();
}

StoreStatement& StoreStatement::bind(const QUuid& value) {
    const QByteArray bytes = value.toRfc4122();
    return bind(std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))));
}

StoreStatement& StoreStatement::bind(std::span<const std::byte> value) {
    if (value.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        connection_.fail(SQLITE_TOOBIG, "change", StoreError::Case::writeFailed);
    }
    try {
        // An empty blob is not NULL, which a null pointer would make of it.
        statement_->bind(++parameter_, value.empty() ? static_cast<const void*>("") : value.data(),
                         static_cast<int>(value.size()));
    } catch (const SQLite::Exception& error) {
        connection_.fail(error.getErrorCode(), "change", StoreError::Case::writeFailed);
    }
    return *this;
}

StoreStatement& StoreStatement::bindNull() {
    statement_->bind(++parameter_);
    return *this;
}

bool StoreStatement::next() {
    const int code = statement_->tryExecuteStep();
    if (code == SQLITE_ROW) {
        return true;
    }
    if (code != SQLITE_DONE) {
        if (changes(sql_)) {
            connection_.fail(code, "change", StoreError::Case::writeFailed);
        }
        connection_.fail(code, "read", StoreError::Case::readFailed);
    }
    return false;
}

int StoreStatement::run() {
    while (next()) {
    }
    return sqlite3_changes(connection_.database().getHandle());
}

bool StoreStatement::isNull(int column) const {
    return statement_->isColumnNull(column);
}

std::int64_t StoreStatement::integer(int column) const {
    return statement_->getColumn(column).getInt64();
}

double StoreStatement::real(int column) const {
    return isNull(column) ? std::numeric_limits<double>::quiet_NaN() : statement_->getColumn(column).getDouble();
}

QString StoreStatement::text(int column) const {
    const SQLite::Column value = statement_->getColumn(column);
    const char* const bytes = value.getText();
    return QString::fromUtf8(bytes, value.getBytes());
}

std::optional<QString> StoreStatement::optionalText(int column) const {
    if (isNull(column)) {
        return std::nullopt;
    }
    return text(column);
}

QUuid StoreStatement::uuid(int column) const {
    const auto bytes = blob(column);
    return QUuid::fromRfc4122(
        QByteArrayView(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
}

std::span<const std::byte> StoreStatement::blob(int column) const {
    const SQLite::Column value = statement_->getColumn(column);
    const void* const bytes = value.getBlob();
    return {static_cast<const std::byte*>(bytes), static_cast<std::size_t>(value.getBytes())};
}

} // namespace Varnel
