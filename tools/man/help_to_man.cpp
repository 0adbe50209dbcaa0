// help_to_man: writes a program's manual page (troff, man macros) from its own --help, so the
// page says what the program says. For a program with commands, each command's --help becomes
// a subsection of COMMANDS.
//
//   help_to_man PROGRAM SECTION "WHAT IT IS" OUTPUT [--commands] [--see-also PAGE...]
//
// The help text follows a few layout rules, which this turns into man macros:
//   "Usage: ..."               the first line: SYNOPSIS
//   text at the left margin    a paragraph (lines are joined, blank lines separate)
//   "Heading:" alone           a section (the words before any ',' or '('), e.g. "Exit status:"
//   "  TERM  meaning"          a tagged item: two spaces, the term, two or more spaces, its
//                              meaning; deeper indented lines continue the meaning
//   "  other indented text"    shown as it is (examples)
#include <sys/wait.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string Run(const std::vector<std::string>& words) {
    std::string command;
    for (const std::string& word : words) {
        std::string quoted = "'";
        for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        command += (command.empty() ? "" : " ") + quoted + "'";
    }
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
    std::string output;
    char buffer[4096];
    size_t count = 0;
    while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, count);
    const int status = pclose(pipe);
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command + " failed");
    }
    return output;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Text for troff: backslashes and minus signs escaped, no control character at a line start.
std::string Escape(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out.push_back(c);
        }
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out.insert(0, "\\&");
    return out;
}

size_t Indent(const std::string& line) {
    const size_t first = line.find_first_not_of(' ');
    return first == std::string::npos ? line.size() : first;
}

// A heading stands alone: after a blank line (or the usage line), before an indented one.
bool IsHeading(const std::vector<std::string>& lines, size_t at) {
    const std::string& line = lines[at];
    const bool alone = at <= 1 || lines[at - 1].find_first_not_of(' ') == std::string::npos;
    const bool items_follow = at + 1 < lines.size() && lines[at + 1].rfind("  ", 0) == 0;
    return alone && items_follow && !line.empty() && line[0] != ' ' && line.back() == ':' &&
           line.find(": ") == std::string::npos;
}

std::string HeadingName(const std::string& line) {
    std::string name = line.substr(0, line.find_first_of(",(:"));
    while (!name.empty() && name.back() == ' ') name.pop_back();
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

// "  TERM  meaning": where the meaning starts, or 0 when the line is no tagged item.
size_t MeaningColumn(const std::string& line) {
    if (Indent(line) != 2) return 0;
    const size_t gap = line.find("  ", 2);
    if (gap == std::string::npos) return 0;
    const size_t meaning = line.find_first_not_of(' ', gap);
    return meaning == std::string::npos ? 0 : meaning;
}

// The body of a help text (after its usage line) as man macros. `on_heading` decides what a
// heading becomes; it returns false to drop the heading's block.
template <typename OnHeading>
void WriteBody(const std::vector<std::string>& lines, size_t from, std::ostream& out,
               OnHeading on_heading) {
    bool in_example = false;
    bool skipping = false;
    size_t meaning_column = 0;  // inside a tagged item: where its meaning text starts
    const auto end_example = [&] {
        if (in_example) out << ".fi\n.RE\n";
        in_example = false;
    };
    for (size_t i = from; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        if (IsHeading(lines, i)) {
            end_example();
            meaning_column = 0;
            skipping = !on_heading(HeadingName(line));
            continue;
        }
        if (skipping) continue;
        if (line.find_first_not_of(' ') == std::string::npos) {
            end_example();
            meaning_column = 0;
            out << ".PP\n";
            continue;
        }
        const size_t indent = Indent(line);
        if (meaning_column != 0 && indent > 2) {
            out << Escape(line.substr(indent)) << "\n";  // the meaning goes on
            continue;
        }
        meaning_column = 0;
        if (indent == 0) {
            end_example();
            out << Escape(line) << "\n";
        } else if (const size_t column = MeaningColumn(line)) {
            end_example();
            std::string term = line.substr(2, column - 2);
            while (!term.empty() && term.back() == ' ') term.pop_back();
            out << ".TP\n.B " << Escape(term) << "\n" << Escape(line.substr(column)) << "\n";
            meaning_column = column;
        } else {
            if (!in_example) out << ".RS\n.nf\n";
            in_example = true;
            out << Escape(line.substr(2)) << "\n";
        }
    }
    end_example();
}

// The first word of each line of the "Commands:" block.
std::vector<std::string> CommandNames(const std::vector<std::string>& overview) {
    std::vector<std::string> names;
    bool listing = false;
    for (size_t i = 0; i < overview.size(); ++i) {
        const std::string& line = overview[i];
        if (IsHeading(overview, i)) {
            listing = HeadingName(line) == "COMMANDS";
        } else if (listing && Indent(line) == 2) {
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
        } else if (listing && !names.empty()) {
            break;
        }
    }
    return names;
}

std::string AfterUsage(const std::string& line) {
    const std::string prefix = "Usage: ";
    return line.rfind(prefix, 0) == 0 ? line.substr(prefix.size()) : line;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::cerr << "usage: help_to_man PROGRAM SECTION \"WHAT IT IS\" OUTPUT [--commands] "
                     "[--see-also PAGE...]\n";
        return 2;
    }
    const std::string program = argv[1];
    const std::string section = argv[2];
    const std::string summary = argv[3];
    const std::string output = argv[4];
    bool with_commands = false;
    std::vector<std::string> see_also;
    for (int i = 5; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--commands") {
            with_commands = true;
        } else if (word != "--see-also") {
            see_also.push_back(word);
        }
    }
    try {
        const std::string name = program.substr(program.rfind('/') + 1);
        const std::vector<std::string> overview = Lines(Run({program, "--help"}));
        if (overview.empty()) throw std::runtime_error(program + " --help printed nothing");

        std::ostringstream page;
        std::string title = name;
        for (char& c : title) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        page << ".\\\" Made by help_to_man from " << name << " --help; do not edit.\n"
             << ".TH " << title << " " << section << " \"\" \"trevalo_service\" \""
             << (section == "1" ? "User Commands" : "System Administration") << "\"\n"
             << ".SH NAME\n"
             << Escape(name) << " \\- " << Escape(summary) << "\n"
             << ".SH SYNOPSIS\n"
             << Escape(AfterUsage(overview[0])) << "\n"
             << ".SH DESCRIPTION\n";
        WriteBody(overview, 1, page, [&](const std::string& heading) {
            if (heading != "COMMANDS" || !with_commands) {
                page << ".SH " << heading << "\n";
                return true;
            }
            // Each command in full, from its own --help, instead of the overview's summaries.
            page << ".SH COMMANDS\n";
            for (const std::string& command : CommandNames(overview)) {
                const std::vector<std::string> help = Lines(Run({program, command, "--help"}));
                if (help.empty()) throw std::runtime_error(command + " --help printed nothing");
                // The subsection title: the command's usage without the options shared by all.
                std::string usage = AfterUsage(help[0]);
                const size_t at = usage.find(" " + command);
                if (at != std::string::npos) usage = usage.substr(at + 1);
                page << ".SS \"" << Escape(usage) << "\"\n";
                WriteBody(help, 1, page, [&](const std::string& sub) {
                    page << ".TP\n.B " << sub << "\n";
                    return true;
                });
            }
            return false;
        });
        if (!see_also.empty()) {
            page << ".SH \"SEE ALSO\"\n";
            for (size_t i = 0; i < see_also.size(); ++i) {
                const size_t paren = see_also[i].find('(');
                page << ".BR " << Escape(see_also[i].substr(0, paren)) << " "
                     << see_also[i].substr(paren) << (i + 1 < see_also.size() ? "," : "") << "\n";
            }
        }
        std::ofstream(output) << page.str();
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "help_to_man: " << failure.what() << "\n";
        return 1;
    }
}
