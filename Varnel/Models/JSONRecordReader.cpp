#include "Varnel/Models/JSONRecordReader.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace Varnel::JSONRecordReader {

namespace {

// Takes the parser's events; returning false ends the parse.
class Collector : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit Collector(const Fields& fields) : fields_(fields) {}

    std::vector<Record> takeRecords() { return std::move(records_); }

    bool null() override { return scalar(Value{}); }

    bool boolean(bool) override { return depth_ >= 2 && field_ == nullptr; }

    bool number_integer(std::int64_t value) override { return number(static_cast<double>(value)); }

    bool number_unsigned(std::uint64_t value) override { return number(static_cast<double>(value)); }

    bool number_float(double value, const std::string&) override { return number(value); }

    bool string(std::string& value) override { return scalar(Value{QString::fromStdString(value), {}}); }

    bool binary(nlohmann::json::binary_t&) override { return false; }

    bool start_object(std::size_t) override {
        if (depth_ == 1) {
            records_.emplace_back(fields_.size());
            field_ = nullptr;
        } else if (depth_ == 0 || field_ != nullptr) {
            return false;
        }
        ++depth_;
        return true;
    }

    bool key(std::string& key) override {
        if (depth_ == 2) {
            field_ = nullptr;
            for (const Field& field : fields_) {
                if (key == field.key) {
                    field_ = &field;
                }
            }
        }
        return true;
    }

    bool end_object() override {
        if (--depth_ != 1) {
            return true;
        }
        for (std::size_t index = 0; index < fields_.size(); ++index) {
            const Value& value = records_.back()[index];
            if (fields_[index].presence == Presence::required && !value.text && !value.number) {
                return false;
            }
        }
        return true;
    }

    bool start_array(std::size_t) override {
        if (depth_ == 1 || field_ != nullptr) { // an array in the array, or for a field
            return false;
        }
        ++depth_;
        return true;
    }

    bool end_array() override {
        --depth_;
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override { return false; }

private:
    bool number(double value) { return scalar(Value{{}, value}); }

    // Anything goes below the fields' level and in members that nobody asked for.
    bool scalar(const Value& value) {
        if (depth_ < 2) {
            return false; // the document, or an element of the array, is no object
        }
        if (depth_ > 2 || field_ == nullptr) {
            return true;
        }
        const bool isOfAnotherType = field_->type == Type::text ? value.number.has_value() : value.text.has_value();
        records_.back()[static_cast<std::size_t>(field_ - fields_.data())] = value;
        return !isOfAnotherType;
    }

    const Fields& fields_;
    std::vector<Record> records_;
    std::size_t depth_ = 0;        // 1 in the array, 2 in one of its objects
    const Field* field_ = nullptr; // the member being read, if it is one of the fields
};

} // namespace

std::optional<std::vector<Record>> read(const QString& json, const Fields& fields) {
    Collector collector(fields);
    const std::string bytes = json.toStdString();
    if (!nlohmann::json::sax_parse(bytes, &collector)) {
        return std::nullopt;
    }
    return collector.takeRecords();
}

} // namespace Varnel::JSONRecordReader
