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

/// The colour of a mark may be left out: "--mark-over FILE" becomes "--mark-over= FILE".
std::vector<std::string> join_marks(int count, char** arguments) {
    std::vector<std::string> joined;
    for (int i = 1; i < count; ++i) {
        std::string argument = arguments[i];
        if (argument == "--") {
            joined.insert(joined.end(), arguments + i, arguments + count);
            break;
        }
        if (argument == "--mark-over" || argument == "--mark-under") {
            const std::string next = i + 1 < count ? arguments[i + 1] : "";
            const bool colour = parse_colour(next) || next == "inverse";
            argument += "=" + (colour ? next : "default");
            i += colour;
        }
        joined.push_back(argument);
    }
    return {joined.rbegin(), joined.rend()};  // as CLI11 takes them
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
        app.parse(join_marks(count, arguments));
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
