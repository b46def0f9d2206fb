#include "tools/cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>

#include "platform/terminal.h"
#include "tools/diagnosis.h"
#include "tools/text.h"

namespace tool {

Option Option::required() const { return Option(option_->required()); }
Option Option::any_number() const { return Option(option_->expected(0, -1)); }
Option Option::needs(Option other) const { return Option(option_->needs(other.option_)); }
Option Option::excludes(Option other) const { return Option(option_->excludes(other.option_)); }
Option Option::one_of(const std::vector<std::string>& texts) const {
  return Option(option_->check(CLI::IsMember(texts)));
}
Option Option::between(int least, int most) const { return Option(option_->check(CLI::Range(least, most))); }
Option Option::choice_of(const Choices& choices) const {
  return Option(option_->transform(CLI::CheckedTransformer(choices)));
}
Option Option::choice_of_any_case(const Choices& choices) const {
  return Option(option_->transform(CLI::CheckedTransformer(choices, CLI::ignore_case)));
}

Command::Command(const char* help, const char* name) : app_(std::make_shared<CLI::App>(help, name)) {}

template <class Value>
Option Command::add_option(const char* names, Value& value, const char* help) {
  return Option(app_->add_option(names, value, help));
}
template Option Command::add_option(const char*, std::string&, const char*);
template Option Command::add_option(const char*, std::vector<std::string>&, const char*);
template Option Command::add_option(const char*, std::int32_t&, const char*);
template Option Command::add_option(const char*, std::uint16_t&, const char*);
template Option Command::add_option(const char*, std::uint32_t&, const char*);
template Option Command::add_option(const char*, std::vector<std::uint32_t>&, const char*);

template <class Value>
Option Command::add_option_function(const char* names, const std::function<void(const Value&)>& take,
                                    const char* help) {
  return Option(app_->add_option_function(names, take, help));
}
template Option Command::add_option_function(const char*, const std::function<void(const std::string&)>&, const char*);
template Option Command::add_option_function(const char*, const std::function<void(const std::uint32_t&)>&,
                                             const char*);

Option Command::add_flag(const char* names, bool& flag, const char* help) {
  return Option(app_->add_flag(names, flag, help));
}
void Command::footer(const char* text) { app_->footer(text); }

Command Command::add_subcommand(const char* name, const char* help) {
  return Command(std::shared_ptr<CLI::App>(app_, app_->add_subcommand(name, help)));
}
void Command::require_subcommand() { app_->require_subcommand(1); }
void Command::fallthrough() { app_->fallthrough(); }

std::optional<int> Command::parse(std::vector<std::string> arguments) {
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
  try {
    app_->parse(std::move(arguments));
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    std::ostringstream fault;
    const int code = app_->exit(error, help, fault);
    print(stdout, help.str());
    print(stderr, fault.str());
    return code == 0 ? exit_ok : exit_usage;
  }
}
bool Command::parsed() const { return app_->parsed(); }
bool Command::got_subcommand(const char* name) const { return app_->got_subcommand(name); }
bool Command::got_option(const char* name) const { return app_->count(name) != 0; }
const std::string& Command::name() const { return app_->get_name(); }

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

int run_with_words(Command& program, std::vector<std::string> arguments, std::vector<std::string>& words,
                   const std::function<int()>& body) {
  const std::vector<std::string> behind = take_behind_dashes(arguments);
  return run(program, std::move(arguments), [&] {
    words.insert(words.end(), behind.begin(), behind.end());
    return body();
  });
}

int run(Command& program, std::vector<std::string> arguments, const std::function<int()>& body) {
  if (const std::optional<int> ended = program.parse(std::move(arguments))) return *ended;
  try {
    const int result = body();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
      throw std::runtime_error("standard output: write failure");
    return result;
  } catch (const std::exception& error) {
    const std::string line = program.name() + ": " + error.what();
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
