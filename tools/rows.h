// Rows of values: a table for people, JSON and CSV for machines.
#pragma once

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/library.h"
#include "tools/text.h"

namespace tool {

class Command;

enum class Form : std::uint8_t { table, json, csv };

// The options --json and --csv, which exclude each other.
class FormOptions {
 public:
  void add_to(Command& command);
  [[nodiscard]] Form form() const { return csv_ ? Form::csv : json_ ? Form::json : Form::table; }

 private:
  bool json_ = false;
  bool csv_ = false;
};

struct Column {
  std::string title;  // in tables; where none has one, they have no line of titles
  std::string key;    // for machines
  bool right = false;
};

// What people see, and what machines get: null for nothing.
struct Cell {
  Cell() : value(nullptr) {}
  Cell(std::string text) : shown(std::move(text)), value(shown) {}
  Cell(const char* text) : Cell(std::string(text)) {}
  Cell(std::uint64_t number) : shown(std::to_string(number)), value(number) {}
  Cell(std::string text, nlohmann::json for_machines) : shown(std::move(text)), value(std::move(for_machines)) {}

  std::string shown;
  nlohmann::json value;
};

// Characters of a terminal that a text takes.
[[nodiscard]] std::size_t shown_width(const std::string& text);

// A field of CSV as RFC 4180 has it.
[[nodiscard]] std::string csv_field(const std::string& text);

// Prints rows. A table comes at the end, when the widths are known; JSON, an array of one object a line, and CSV
// (RFC 4180) come row by row.
class Rows {
 public:
  Rows(Form form, std::vector<Column> columns, std::FILE* out = stdout);
  void add(std::vector<Cell> cells);
  void end();
  [[nodiscard]] std::size_t count() const { return count_; }

 private:
  void add_json(const std::vector<Cell>& cells);
  void add_csv(const std::vector<std::string>& texts);
  void print_table_line(const std::vector<std::string>& texts, const std::vector<std::size_t>& widths);
  void print_table();

  Form form_;
  std::vector<Column> columns_;
  std::FILE* out_;
  std::size_t count_ = 0;
  std::vector<std::vector<std::string>> table_;
};

// The name of what was made, by itself or as the only member of an object.
void put_name(Form form, const char* key, const std::string& name);

// One object: a line for each of its values that there is something to show of, or JSON, or CSV of one row.
void print_record(Form form, const std::vector<Column>& columns, const std::vector<Cell>& cells);

}  // namespace tool
