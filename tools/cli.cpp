#include "tools/cli.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "platform/terminal.h"
#include "tools/diagnosis.h"
#include "tools/text.h"

namespace tool {

std::vector<std::string> arguments(int argc, char** argv) {
  ox::platform::Arguments typed = ox::platform::program_arguments(argc, argv);
  for (std::string& text : typed.texts) text = typed_text(text, typed.code_page);
  return std::move(typed.texts);
}

std::vector<std::string> take_behind_dashes(std::vector<std::string>& arguments) {
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  std::vector<std::string> behind(dashes != arguments.end() ? dashes + 1 : dashes, arguments.end());
  arguments.erase(dashes, arguments.end());
  return behind;
}

int run_with_words(CLI::App& app, std::vector<std::string> arguments, std::vector<std::string>& words,
                   const std::function<int()>& body) {
  const std::vector<std::string> behind = take_behind_dashes(arguments);
  return run(app, std::move(arguments), [&] {
    words.insert(words.end(), behind.begin(), behind.end());
    return body();
  });
}

int run(CLI::App& app, std::vector<std::string> arguments, const std::function<int()>& body) {
  try {
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());  // as CLI11 takes them
    app.parse(std::move(reversed));
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    std::ostringstream fault;
    const int code = app.exit(error, help, fault);
    print(stdout, help.str());
    print(stderr, fault.str());
    return code == 0 ? exit_ok : exit_usage;
  }
  try {
    const int result = body();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
      throw std::runtime_error("standard output: write failure");
    return result;
  } catch (const std::exception& error) {
    const std::string line = app.get_name() + ": " + error.what();
    (void)std::fflush(stdout);
    if (const auto* explained = dynamic_cast<const Explained*>(&error)) {
      say(stderr, "%s: %s\n", line.c_str(), explained->text().c_str());
      return exit_failed;
    }
    if (const auto* failure = dynamic_cast<const Failure*>(&error)) {
      say(stderr, "%s: %s\n", line.c_str(), error_text(failure->code()).c_str());
      return exit_failed;
    }
    say(stderr, "%s\n", line.c_str());
    return dynamic_cast<const Usage*>(&error) != nullptr ? exit_usage : exit_failed;
  }
}

}  // namespace tool
