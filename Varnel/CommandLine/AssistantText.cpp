#include "Varnel/CommandLine/AssistantText.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Refinement/Export.h"

#include <fmt/format.h>

namespace Varnel::CommandLine {

namespace {

std::string shown(const QString& text) {
    return singleLine(text.toStdString());
}

} // namespace

std::string assistantText(const Meeting& meeting) {
    std::string text;
    if (meeting.summary() && !meeting.summary()->isEmpty()) {
        text += "\nSummary\n";
        const QStringList lines = meeting.summary()->split(QLatin1Char('\n'));
        for (const QString& line : lines)
            text += shown(line) + "\n";
    }
    const QList<ActionItem> items = meeting.actionItems();
    if (!items.isEmpty())
        text += "\nAction items\n";
    for (const ActionItem& item : items) {
        text += fmt::format("- {}", shown(item.text));
        if (item.assignee)
            text += fmt::format(" ({})", shown(*item.assignee));
        if (item.timestamp)
            text += fmt::format(" [{}]", shown(Export::durationText(*item.timestamp)));
        text += "\n";
    }
    const QList<Topic> topics = meeting.topics();
    if (!topics.isEmpty())
        text += "\nTopics\n";
    for (const Topic& topic : topics)
        text += fmt::format("- [{} - {}] {}\n", shown(Export::durationText(topic.startSeconds)),
                            shown(Export::durationText(topic.endSeconds)), shown(topic.title));
    return text;
}

} // namespace Varnel::CommandLine
