#include "Varnel/Refinement/LLMConfig.h"

#include "Varnel/Refinement/TrimmedText.h"

#include <algorithm>
#include <string_view>

namespace Varnel {

namespace {

QString textOrDefault(const QString& text, const SettingKey& key) {
    return text.isEmpty() ? QString::fromLatin1(key.defaultValue) : text;
}

QString trimmedOrDefault(const Settings& settings, const SettingKey& key) {
    return textOrDefault(trimmedOfBlanks(settings.text(key)), key);
}

// RFC 3986: unreserved, reserved and percent-encoded characters; square brackets only around an address.
bool isURLCharacter(QChar character) {
    static constexpr std::u16string_view marks = u"-._~:/?#[]@!$&'()*+,;=%";
    const char16_t unit = character.unicode();
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || (unit >= u'0' && unit <= u'9') ||
           marks.find(unit) != std::u16string_view::npos;
}

} // namespace

std::optional<QUrl> absoluteURL(const QString& text) {
    if (!std::all_of(text.begin(), text.end(), isURLCharacter))
        return std::nullopt;
    const qsizetype authority = text.indexOf(QLatin1String("://"));
    const qsizetype path = text.indexOf(u'/', authority + 3);
    if (authority < 0 || (path >= 0 && text.indexOf(u'[', path) >= 0) || (path >= 0 && text.indexOf(u']', path) >= 0))
        return std::nullopt;
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return url;
}

std::optional<LLMConfig> LLMConfig::fromDefaults(const Settings& settings) {
    const auto baseURL = absoluteURL(trimmedOrDefault(settings, SettingKeys::aiBaseURL));
    if (!baseURL)
        return std::nullopt;
    LLMConfig config;
    config.baseURL = *baseURL;
    config.model = trimmedOrDefault(settings, SettingKeys::aiModel);
    if (QString key = trimmedOfBlanks(settings.text(SettingKeys::aiAPIKey)); !key.isEmpty())
        config.apiKey = std::move(key);
    config.provider = textOrDefault(settings.text(SettingKeys::aiProvider), SettingKeys::aiProvider);
    return config;
}

QUrl LLMConfig::endpoint(const char* path) const {
    // In the encoded form: what is encoded in the base stays so.
    QByteArray text = baseURL.toEncoded(QUrl::RemoveFragment);
    const qsizetype question = text.indexOf('?');
    const QByteArray query = question < 0 ? QByteArray() : text.mid(question);
    if (question >= 0)
        text.truncate(question);
    while (text.endsWith('/'))
        text.chop(1);
    return QUrl::fromEncoded(text + '/' + path + query, QUrl::StrictMode);
}

} // namespace Varnel
