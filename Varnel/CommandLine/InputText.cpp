#include "Varnel/CommandLine/InputText.h"

#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

namespace Varnel::CommandLine {

std::string inputText(const std::string& name, std::size_t limit, CommandContext& context) {
    if (name == "-")
        return readAll(context.input(), limit);
    std::error_code error;
    if (std::filesystem::is_directory(name, error))
        throw CommandError(fmt::format("cannot read {}: is a directory", inQuotes(name)));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), &std::fclose);
    if (!file)
        throw CommandError(fmt::format("cannot read {}: {}", inQuotes(name), std::strerror(errno)));
    try {
        return readAll(file.get(), limit);
    } catch (const CommandError&) {
        throw CommandError(fmt::format("cannot read {}: it is too long or cannot be read", inQuotes(name)));
    }
}

} // namespace Varnel::CommandLine
