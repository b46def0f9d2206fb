// The tools' command lines.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/library.h"

namespace tool {

// Parses the command line and runs the body, whose result is the exit code. Prints what either throws.
int run(CLI::App& app, std::vector<std::string> arguments, const std::function<int()>& body);

// The arguments after the program's name, in the installation's code page.
std::vector<std::string> arguments(int argc, char** argv);

// Takes "--", at which the parser would end a subcommand, and the words behind it, which may begin with a dash.
std::vector<std::string> take_behind_dashes(std::vector<std::string>& arguments);

// As run, for a command line whose words behind "--" join `words`.
int run_with_words(CLI::App& app, std::vector<std::string> arguments, std::vector<std::string>& words,
                   const std::function<int()>& body);

}  // namespace tool
