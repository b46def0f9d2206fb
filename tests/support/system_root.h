// A private system root for the test process: nothing that a test does is seen outside it.
#pragma once

#include <ios>
#include <string>
#include <string_view>

namespace ox::test {

// The test program's root, made before the first test and removed after the last one. It holds "home" and "work".
[[nodiscard]] const std::string& system_root();
[[nodiscard]] std::string home_dir();
[[nodiscard]] std::string work_dir();

// Writes the installation's registry values HomeDir and WorkDir.
void install_settings();

// Removes them, and everything else of the registry: nothing is installed.
void remove_settings();

// Removes the root and whatever else the test process has left on the machine.
void remove_system();

// Changes a variable of the process's environment, for what it starts too.
void set_environment(const char* name, const char* value);

// Makes a file that takes no byte, as on a full disk. False where the system has nothing of the kind.
[[nodiscard]] bool make_full_file(const std::string& path);

// Writes a file, making the directories on the way, and reads one whole.
void write_file(const std::string& path, std::string_view contents);
[[nodiscard]] std::string read_file(const std::string& path, std::ios::openmode mode = std::ios::binary);
// Reads a text file as the C runtime does: lines end with "\n" alone.
[[nodiscard]] inline std::string read_text(const std::string& path) { return read_file(path, std::ios::in); }

// A path in the platform's own spelling, as composed paths have it.
[[nodiscard]] std::string native(std::string path);

// A path as programs of the machine need it, where an emulator has others.
[[nodiscard]] std::string machine_path(const std::string& path);

// A Japanese text as a program shows it on a system of that language. The argument is UTF-8.
[[nodiscard]] std::string as_shown_in_japan(const char* text);

// Gives the process a console, where programs are asked to end by one.
void prepare_console();

// A group of the base system in which nobody is.
[[nodiscard]] const char* foreign_group();

}  // namespace ox::test
