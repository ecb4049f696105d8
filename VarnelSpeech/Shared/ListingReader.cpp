#include "VarnelSpeech/Shared/ListingReader.h"

#include "VarnelSpeech/Shared/HuggingFaceDownloadError.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <utility>

namespace VarnelSpeech {

namespace {

using Json = nlohmann::json;

// Gets the parts of the text as they are read; an answer of false ends the reading.
class Handler final : public nlohmann::json_sax<Json> {
public:
    explicit Handler(std::size_t maximumEntries) : maximumEntries_(maximumEntries) {}

    std::vector<ListingEntry> takeEntries() { return std::move(entries_); }

    bool null() override { return other(); }

    bool boolean(bool /*value*/) override { return other(); }

    bool number_integer(number_integer_t /*value*/) override { return other(); }

    bool number_unsigned(number_unsigned_t /*value*/) override { return other(); }

    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return other(); }

    bool binary(binary_t& /*value*/) override { return other(); }

    bool string(string_t& value) override {
        if (depth_ != entryDepth || wanted_ == nullptr)
            return other();
        *std::exchange(wanted_, nullptr) = std::move(value);
        return true;
    }

    bool key(string_t& name) override {
        if (depth_ == entryDepth)
            wanted_ = name == "path" ? &path_ : name == "type" ? &type_ : nullptr;
        return true;
    }

    bool start_array(std::size_t /*size*/) override {
        if (depth_ != 0 && !other())
            return false;
        ++depth_;
        return true;
    }

    bool end_array() override {
        --depth_;
        return true;
    }

    bool start_object(std::size_t /*size*/) override {
        const bool isEntry = depth_ == 1;
        if (!isEntry && !other())
            return false;
        ++depth_;
        if (isEntry) {
            path_.reset();
            type_.reset();
            wanted_ = nullptr;
        }
        return true;
    }

    bool end_object() override {
        if (--depth_ != 1)
            return true;
        if (!path_ || !type_ || entries_.size() == maximumEntries_)
            return false;
        entries_.push_back({std::move(*path_), std::move(*type_)});
        return true;
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& /*error*/) override {
        return false;
    }

private:
    static constexpr std::size_t entryDepth = 2; // in the array, in an object

    // A value that is not kept: it must lie in an entry, and not in place of a wanted string.
    bool other() const { return depth_ > entryDepth || (depth_ == entryDepth && wanted_ == nullptr); }

    std::size_t maximumEntries_;
    std::size_t depth_ = 0;
    std::optional<std::string> path_;
    std::optional<std::string> type_;
    std::optional<std::string>* wanted_ = nullptr; // where the next value goes
    std::vector<ListingEntry> entries_;
};

} // namespace

std::vector<ListingEntry> readListing(std::span<const std::byte> body, std::size_t maximumEntries) {
    const char* text = reinterpret_cast<const char*>(body.data());
    Handler handler(maximumEntries);
    if (!Json::sax_parse(text, text + body.size(), &handler))
        throw HuggingFaceDownloadError::invalidResponse();
    return handler.takeEntries();
}

} // namespace VarnelSpeech
