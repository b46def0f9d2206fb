#include "tools/cli.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <vector>

#include "platform/terminal.h"
#include "tools/diagnosis.h"
#include "tools/text.h"

namespace tool {

std::string on_one_line(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  const auto is_control = [](char c) { return (static_cast<unsigned char>(c) < ' ') || c == '\x7F'; };
  std::replace_if(text.begin(), text.end(), is_control, ' ');
  return text;
}

std::string error_text(OX_RESULT code) { return on_one_line(oxcStrError(code)); }

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

void open_session(oxaDisconnect on_disconnect) {
  if (const Diagnosis found = examine_rights(); !found.what.empty()) throw Explained("manager", OX_EINIT, found);
  for (int patience = 20;; --patience) {  // seconds, about
    const OX_RESULT code = oxaInit(on_disconnect);
    if (code == OX_OK) return;
    const Diagnosis found = examine_session(code);
    if (found.passes && patience > 0) continue;
    if (found.what.empty()) throw Failure("manager", code);
    throw Explained("manager", code, found);
  }
}

namespace {

void OX_CALL tell(void* fault, const char* file, uint32_t line, OX_RESULT code, const char* subject) {
  (*static_cast<const Fault*>(fault))(file, line, code, subject);
}

}  // namespace

void load_tree(const std::vector<std::string>& files, Fault fault) {
  std::vector<oxbFileEntry> entries(files.size());
  oxbFileEntry* list = nullptr;
  for (std::size_t i = 0; i < files.size(); ++i) {
    entries[i].path = files[i].c_str();
    (void)oxcQueueAdd(&list, &entries[i]);
  }
  bool told = false;
  Fault noting = [&](const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
    told = true;
    fault(file, line, code, subject);
  };
  oxbInitAmibTree(OXB_SCRATCH_TREE);
  const OX_RESULT result = oxbLoadAmibFiles(list, tell, &noting);
  if (!told) require(result, "definition files");
}

void check_texts(const char* file, Fault fault) {
  require(oxbCheckAmibTexts(file, tell, &fault), file != nullptr ? file : "enumerations and descriptions");
}

std::string fault_line(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
  return shown_path(file) + ":" + std::to_string(line) + ": error " + std::to_string(code) + ": " +
         (subject.empty() ? "" : on_one_line(subject) + ": ") + error_text(code);
}

std::vector<std::string> definition_files() {
  if (const Diagnosis found = examine_installation(); !found.what.empty()) {
    throw Explained("installation", OX_ENOTINSTALLED, found);
  }
  const std::string directory = std::string(oxcGetWorkdir()) + "/public/amib";
  oxfFileList* list = nullptr;
  require(oxbGetAmibFiles(".def", &list), directory);
  const Owner<oxfFileList, oxfFileListFree> owner(list);
  std::vector<std::string> files;
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  if (files.empty()) throw std::runtime_error(directory + ": no definition files");
  return files;
}

void attach_tree() {
  if (oxbInit(OXB_TREE) == OX_OK) return;
  std::string left_out;
  load_tree(definition_files(),
            [&](const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
              if (file == left_out) return;
              left_out = file;
              say(stderr, "%s; the file is left out\n", fault_line(file, line, code, subject).c_str());
            });
  uint32_t root = 0;
  require(oxbEntry("", &root), "definition files");
}

}  // namespace tool
