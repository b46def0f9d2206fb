#include "tests/road/daemon.h"

#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::seconds(60);
constexpr auto pause = std::chrono::milliseconds(10);

}  // namespace

Daemon::Daemon() {
  lay_down_installation();
  start();
}

void Daemon::launch() {
  static int starts = 0;  // each start has a log of its own
  log_file_ = system_root() + "/oxmgrd" + std::to_string(++starts) + ".log";
  process_ = start_program({"oxmgrd", "--foreground"}, log_file_, true);
}

void Daemon::start() {
  launch();
  const auto end = std::chrono::steady_clock::now() + patience;
  while (log().find("serving the installation") == std::string::npos) {
    if (!process_.running() || std::chrono::steady_clock::now() > end) throw std::runtime_error("oxmgrd: " + log());
    std::this_thread::sleep_for(pause);
  }
}

int Daemon::end() {
  process_.ask_to_end();
  return process_.wait(patience);
}

std::string Daemon::log() const { return read_text(log_file_); }

std::vector<std::string> words_of(const std::string& line) {
  std::vector<std::string> words(1);
  bool quoted = false;
  for (const char c : line) {
    if (c == '\'') {
      quoted = !quoted;
    } else if (c == ' ' && !quoted) {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  return words;
}

Program start_program(std::vector<std::string> words, const std::string& output, bool hears) {
  words.front() = OX_PROGRAMS "/" + words.front();
  write_file(output, "");
  return started(words, output, hears);
}

std::string run_program(std::vector<std::string> words) {
  const std::string file = system_root() + "/output";
  const int status = start_program(std::move(words), file).wait(patience);
  return std::to_string(status) + ' ' + read_text(file);
}

std::string without_notes(std::string printed) {
  for (std::size_t at = 0; (at = printed.find("note: ")) != printed.npos;) {
    printed.erase(at, printed.find('\n', at) - at + 1);
  }
  return printed;
}

void expect(const std::vector<Call>& calls) {
  for (const auto& [line, expected] : calls) {
    const std::string printed = run(line);
    if (expected[0] != '~') {
      EXPECT_EQ(expected, printed) << line;
    } else {
      EXPECT_EQ(expected.substr(1, 2), printed.substr(0, 2)) << line << '\n' << printed;
      EXPECT_NE(std::string::npos, printed.find(expected.substr(3))) << line << '\n' << printed;
    }
  }
}

void await(const std::string& line, const std::string& text) {
  std::string printed;
  for (int i = 0; i < 300 && printed.find(text) == printed.npos; ++i) {
    if (i != 0) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    printed = run(line);
  }
  EXPECT_NE(printed.npos, printed.find(text)) << text << " in what is printed by " << line << '\n' << printed;
}

std::string wait_for_text(const std::string& file, const std::string& text, int times) {
  for (int i = 0; i < 6000 && count_of(read_text(file), text) < times; ++i) std::this_thread::sleep_for(pause);
  return read_text(file);
}

int number_from(const char* variable, int otherwise) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? std::atoi(value) : otherwise;
}

Started::Started(const std::string& line) {
  static int count = 0;
  output = system_root() + "/out" + std::to_string(++count);
  process = start_program(words_of(line), output);
}
std::string Started::until(const std::string& text, int times) const { return wait_for_text(output, text, times); }
std::string Started::end(int status) {
  EXPECT_EQ(status, process.wait(3 * patience)) << read_text(output);
  return read_text(output);
}

}  // namespace ox::test
