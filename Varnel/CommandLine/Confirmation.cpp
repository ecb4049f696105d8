#include "Varnel/CommandLine/Confirmation.h"

#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"

#include <fmt/format.h>

#include <QString>

namespace Varnel::CommandLine {

namespace {

// The next line of a stream, of which no more than a word is kept.
QString answer(std::FILE* in) {
    constexpr std::size_t longest = 16;
    std::string line;
    for (int character = std::fgetc(in); character != EOF && character != '\n'; character = std::fgetc(in))
        if (line.size() < longest)
            line += static_cast<char>(character);
    return QString::fromStdString(line).trimmed().toLower();
}

} // namespace

void requireConsent(CommandContext& context, Consent consent, const std::string& question, const char* option) {
    if (consent == Consent::given)
        return;
    if (!context.canAsk())
        throw CommandError(fmt::format("there is nobody to ask: {} says yes in advance", option));
    context.ask(question + " [y/N] ");
    const QString text = answer(context.input());
    if (text != QLatin1String("y") && text != QLatin1String("yes"))
        throw CommandError("nothing was changed");
}

} // namespace Varnel::CommandLine
