// qmpic: pictures of microscopes on the command line.

#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "lists.h"

namespace tool {

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

int complain(const std::string& text, ExitCode code) {
    std::string line = text.substr(0, text.find_last_not_of(" \n") + 1);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
    std::fprintf(stderr, "qmpic: %s\n", line.c_str());
    return code;
}

bool looks_like_mark(const std::string& text) { return parse_colour(text) || text == "inverse"; }

bool looks_like_percents(const std::string& text) {
    return text.find(':') != text.npos && text.find_first_not_of("-+.:%0123456789") == text.npos;
}

bool looks_like_count(const std::string& text) {
    return !text.empty() && text.find_first_not_of("-0123456789") == text.npos;
}

/// Options whose value may be left out, what a value looks like, and what stands for none.
constexpr struct {
    const char* option;
    bool (*is_value)(const std::string& text);
    const char* otherwise;
} kOptionalValues[] = {
    {"--mark-over", looks_like_mark, "default"},
    {"--mark-under", looks_like_mark, "default"},
    {"--auto", looks_like_percents, "0.1:0.1"},
    {"--otsu", looks_like_count, "1"},
};

/// What was left out is put in: "--mark-over FILE" becomes "--mark-over=default FILE".
std::vector<std::string> complete(int count, char** arguments) {
    std::vector<std::string> completed;
    for (int i = 1; i < count; ++i) {
        std::string argument = arguments[i];
        if (argument == "--") {
            completed.insert(completed.end(), arguments + i, arguments + count);
            break;
        }
        for (const auto& row : kOptionalValues) {
            if (argument != row.option) continue;
            const std::string next = i + 1 < count ? arguments[i + 1] : "";
            const bool given = row.is_value(next);
            argument += "=" + (given ? next : row.otherwise);
            i += given;
            break;
        }
        completed.push_back(argument);
    }
    return {completed.rbegin(), completed.rend()};  // as CLI11 takes them
}

int run(int count, char** arguments) {
    CLI::App app("Low-level pictures for quantitative microscopy.", "qmpic");
    app.set_version_flag("--version", "qmpic " QMPIC_VERSION);
    app.require_subcommand(1);
    app.footer("qmpic COMMAND --help shows the options of a command.");
    for (const Command& command : kCommands) {
        CLI::App* row = app.add_subcommand(command.name, command.sentence);
        row->final_callback(command.declare(*row));
    }
    try {
        app.parse(complete(count, arguments));
        return kDone;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {  // help, version
            app.exit(error);
            return std::fflush(stdout) == 0 ? kDone : kFailed;
        }
        return complain(error.what(), kWrongUsage);
    } catch (const WrongUsage& error) {
        return complain(error.what(), kWrongUsage);
    } catch (const Failure& error) {
        return complain(error.what(), kFailed);
    } catch (const std::bad_alloc&) {
        return complain("not enough memory", kFailed);
    }
}

}  // namespace

}  // namespace tool

int main(int count, char** arguments) {
    try {
        return tool::run(count, arguments);
    } catch (const std::exception& error) {
        return tool::complain(error.what(), tool::kFailed);
    }
}
