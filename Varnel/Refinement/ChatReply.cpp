#include "Varnel/Refinement/ChatReply.h"

#include "Varnel/Refinement/LLMClientError.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace Varnel::ChatReply {

namespace {

constexpr qsizetype longestDescription = 300; // the parser's own words may quote the whole reply

// Takes the parser's events and follows them down to choices[].message; returning false ends the parse.
class Collector : public nlohmann::json_sax<nlohmann::json> {
public:
    QString takeText() { return std::move(text_).value_or(QString()); }

    const std::string& problem() const { return problem_; }

    bool null() override { return scalar(); }

    bool boolean(bool) override { return scalar(); }

    bool number_integer(std::int64_t) override { return scalar(); }

    bool number_unsigned(std::uint64_t) override { return scalar(); }

    bool number_float(double, const std::string&) override { return scalar(); }

    bool binary(nlohmann::json::binary_t&) override { return false; }

    bool string(std::string& value) override {
        if (ignoredDepth_ > 0 || place_ != Place::message || !isWanted())
            return scalar();
        (key_ == "role" ? hasRole_ : hasContent_) = true;
        if (key_ == "content" && !text_)
            content_ = QString::fromStdString(value);
        return true;
    }

    bool key(std::string& key) override {
        if (ignoredDepth_ == 0)
            key_ = key;
        return true;
    }

    bool start_object(std::size_t) override {
        if (place_ == Place::outside)
            return enter(Place::reply);
        if (ignoredDepth_ == 0 && place_ == Place::choices) {
            hasMessage_ = false;
            return enter(Place::choice);
        }
        if (ignoredDepth_ == 0 && place_ == Place::choice && isWanted()) {
            hasRole_ = hasContent_ = false;
            return enter(Place::message);
        }
        return ignore();
    }

    bool start_array(std::size_t) override {
        if (ignoredDepth_ == 0 && place_ == Place::reply && isWanted()) {
            hasChoices_ = true;
            text_.reset(); // of a repeated member the last counts
            return enter(Place::choices);
        }
        return ignore();
    }

    bool end_object() override {
        if (ignoredDepth_ > 0) {
            --ignoredDepth_;
            return true;
        }
        switch (place_) {
        case Place::message:
            hasMessage_ = true;
            place_ = Place::choice;
            return hasRole_ && hasContent_ ? true : fail(hasRole_ ? "'content' is missing" : "'role' is missing");
        case Place::choice:
            if (hasMessage_ && !text_)
                text_ = std::move(content_);
            place_ = Place::choices;
            return hasMessage_ ? true : fail("'message' is missing");
        default:
            place_ = Place::outside;
            return hasChoices_ ? true : fail("'choices' is missing");
        }
    }

    bool end_array() override {
        if (ignoredDepth_ > 0)
            --ignoredDepth_;
        else
            place_ = Place::reply;
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) override {
        problem_ = error.what();
        return false;
    }

private:
    enum class Place { outside, reply, choices, choice, message };

    // Whether the member being read is one of those that make a chat completion.
    bool isWanted() const {
        switch (place_) {
        case Place::reply:
            return key_ == "choices";
        case Place::choice:
            return key_ == "message";
        case Place::message:
            return key_ == "role" || key_ == "content";
        default:
            return true; // the reply itself, and the elements of its choices
        }
    }

    bool enter(Place place) {
        place_ = place;
        key_.clear();
        return true;
    }

    bool scalar() { return ignoredDepth_ > 0 || !isWanted() ? true : failOfType(); }

    bool ignore() {
        if (ignoredDepth_ == 0 && isWanted())
            return failOfType();
        ++ignoredDepth_;
        return true;
    }

    bool failOfType() {
        return fail(key_.empty() ? std::string("it is of another form") : "'" + key_ + "' is of another type");
    }

    bool fail(const std::string& why) {
        problem_ = "The reply is no chat completion: " + why + ".";
        return false;
    }

    Place place_ = Place::outside;
    std::size_t ignoredDepth_ = 0; // in members that nobody asked for
    std::string key_;              // of the innermost object on the way down
    std::optional<QString> text_;  // of the first choice
    QString content_;
    bool hasChoices_ = false;
    bool hasMessage_ = false;
    bool hasRole_ = false;
    bool hasContent_ = false;
    std::string problem_;
};

} // namespace

QString text(const QByteArray& json) {
    Collector collector;
    if (!nlohmann::json::sax_parse(json.constBegin(), json.constEnd(), &collector))
        throw LLMClientError::malformedReply(QString::fromStdString(collector.problem()).left(longestDescription));
    return collector.takeText();
}

QString withoutReasoning(const QString& text) {
    static const QString begin = QStringLiteral("<think>");
    static const QString end = QStringLiteral("</think>");
    QString kept;
    qsizetype from = 0;
    for (;;) {
        const qsizetype opened = text.indexOf(begin, from);
        const qsizetype closed = opened < 0 ? -1 : text.indexOf(end, opened + begin.size());
        if (closed < 0)
            break;
        kept += QStringView(text).mid(from, opened - from);
        from = closed + end.size();
    }
    kept += QStringView(text).mid(from);
    return kept.trimmed();
}

} // namespace Varnel::ChatReply
