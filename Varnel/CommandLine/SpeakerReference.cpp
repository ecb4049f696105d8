#include "Varnel/CommandLine/SpeakerReference.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/IdReference.h"
#include "Varnel/CommandLine/NearMatches.h"
#include "Varnel/Models/Identifier.h"

#include <fmt/format.h>

#include <algorithm>

namespace Varnel::CommandLine {

namespace {

using Speakers = std::vector<std::shared_ptr<Speaker>>;

std::string candidates(const Speakers& speakers) {
    std::string text;
    for (const auto& speaker : speakers)
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", Varnel::text(speaker->id()).toStdString(),
                            inQuotes(speaker->name().toStdString()));
    return text;
}

// The end of an error's text: what the user may have meant, or where to look.
std::string advice(const QString& name, QStringList names, const char* list) {
    names.removeDuplicates();
    QStringList near;
    for (const QString& match : nearMatches(name, names))
        near << QString::fromStdString(inQuotes(match.toStdString()));
    return near.isEmpty() ? fmt::format(" (see '{}')", list)
                          : fmt::format("; did you mean {}?", near.join(QStringLiteral(" or ")).toStdString());
}

QStringList namesOf(const Speakers& speakers) {
    QStringList names;
    for (const auto& speaker : speakers)
        names << speaker->name();
    return names;
}

template <typename Predicate>
Speakers filtered(const Speakers& speakers, Predicate predicate) {
    Speakers result;
    std::copy_if(speakers.begin(), speakers.end(), std::back_inserter(result), predicate);
    return result;
}

} // namespace

std::shared_ptr<Speaker> speakerNamed(const std::string& reference, const Meeting& meeting) {
    const QString name = QString::fromStdString(reference);
    const Speakers& all = meeting.speakers();
    Speakers found = filtered(all, [&](const auto& speaker) { return speaker->name() == name; });
    if (found.empty())
        if (const auto beginning = idBeginning(reference))
            found = filtered(all, [&](const auto& speaker) { return idBegins(speaker->id(), *beginning); });
    if (found.empty())
        throw CommandError(fmt::format("{} has no speaker {}{}", inQuotes(meeting.title().toStdString()),
                                       inQuotes(reference),
                                       advice(name, namesOf(all), "varnel speakers list --meeting ID")));
    if (found.size() > 1)
        throw CommandError(
            fmt::format("{} may be {} speakers: {}", inQuotes(reference), found.size(), candidates(found)));
    return found.front();
}

std::size_t requireSpeakers(const QString& name, const ModelContext& context) {
    const Speakers all = context.fetchSpeakers();
    const auto count =
        std::count_if(all.begin(), all.end(), [&](const auto& speaker) { return speaker->name() == name; });
    if (count == 0)
        throw CommandError(fmt::format("nobody is called {}{}", inQuotes(name.toStdString()),
                                       advice(name, namesOf(all), "varnel speakers list")));
    return static_cast<std::size_t>(count);
}

} // namespace Varnel::CommandLine
