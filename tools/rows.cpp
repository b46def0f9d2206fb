#include "tools/rows.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/terminal.h"
#include "tools/cli.h"

namespace tool {
namespace {

// Takes one character of UTF-8; a byte that belongs to none counts as one.
char32_t take_character(const std::string& text, std::size_t& at) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at++);
  const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  char32_t character = more == 0 ? lead : static_cast<char32_t>(lead & (0x3F >> more));
  for (int i = 0; i < more && at < text.size() && (byte(at) & 0xC0) == 0x80; ++i) {
    character = character << 6 | (byte(at++) & 0x3F);
  }
  return character;
}

// Scripts whose characters take two places.
bool is_wide(char32_t c) {
  constexpr std::pair<char32_t, char32_t> ranges[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                                                      {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                                                      {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [c](const auto& range) { return c >= range.first && c <= range.second; });
}

std::string machine_text(const nlohmann::json& value) {
  if (value.is_null()) return {};
  return value.is_string() ? value.get<std::string>() : json_text(value);
}

void write(std::FILE* out, const std::string& text) { (void)std::fwrite(text.data(), 1, text.size(), out); }

std::string padding(const std::string& text, std::size_t width) {
  const std::size_t taken = shown_width(text);
  return std::string(width > taken ? width - taken : 0, ' ');
}

}  // namespace

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == text.npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

void FormOptions::add_to(Command& command) {
  const Option json = command.add_flag("-j,--json", json_, "JSON for machines");
  command.add_flag("--csv", csv_, "CSV, as RFC 4180 has it").excludes(json);
}

std::size_t shown_width(const std::string& shown) {
  const std::string text = utf8_of(shown).text;
  std::size_t width = 0;
  for (std::size_t at = 0; at < text.size();) width += is_wide(take_character(text, at)) ? 2 : 1;
  return width;
}

Rows::Rows(Form form, std::vector<Column> columns, std::FILE* out)
    : form_(form), columns_(std::move(columns)), out_(out) {
  if (form_ == Form::csv && out_ == stdout) ox::platform::keep_output_bytes();
  std::vector<std::string> names;
  const bool titled = std::any_of(columns_.begin(), columns_.end(), [](const Column& c) { return !c.title.empty(); });
  for (const Column& column : columns_) names.push_back(form_ == Form::table ? column.title : column.key);
  if (form_ == Form::table && titled) table_.push_back(std::move(names));
  if (form_ == Form::csv) add_csv(names);
}

void Rows::add(std::vector<Cell> cells) {
  if (form_ == Form::json) add_json(cells);
  ++count_;
  if (form_ == Form::json) return;
  std::vector<std::string> texts;
  for (Cell& cell : cells) {
    texts.push_back(form_ == Form::table ? on_one_line(std::move(cell.shown)) : machine_text(cell.value));
  }
  if (form_ == Form::csv) return add_csv(texts);
  table_.push_back(std::move(texts));
}

void Rows::add_json(const std::vector<Cell>& cells) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  for (std::size_t i = 0; i < cells.size(); ++i) object[columns_[i].key] = cells[i].value;
  write(out_, (count_ == 0 ? "[\n  " : ",\n  ") + json_text(object));
}

void Rows::add_csv(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& text : texts) line += (&text != &texts.front() ? "," : "") + csv_field(text);
  print(out_, line + "\r\n");
}

void Rows::end() {
  if (form_ == Form::json) (void)std::fputs(count_ == 0 ? "[]\n" : "\n]\n", out_);
  if (form_ == Form::table && count_ != 0) print_table();
  table_.clear();
}

void Rows::print_table() {
  std::vector<std::size_t> widths(columns_.size());
  for (const auto& texts : table_) {
    for (std::size_t i = 0; i < texts.size(); ++i) widths[i] = std::max(widths[i], shown_width(texts[i]));
  }
  for (const auto& texts : table_) print_table_line(texts, widths);
}

void Rows::print_table_line(const std::vector<std::string>& texts, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string blanks = padding(texts[i], widths[i]);
    line += (i != 0 ? "  " : "") + (columns_[i].right ? blanks + texts[i] : texts[i] + blanks);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  print(out_, line + '\n');
}

void put_name(Form form, const char* key, const std::string& name) {
  if (form == Form::json) return (void)std::puts(json_text({{key, name}}, 2).c_str());
  print(stdout, name + "\n");
}

void print_record(Form form, const std::vector<Column>& columns, const std::vector<Cell>& cells) {
  if (form == Form::json) {
    nlohmann::ordered_json object;
    for (std::size_t i = 0; i < cells.size(); ++i) object[columns[i].key] = cells[i].value;
    (void)std::puts(json_text(object, 2).c_str());
    return;
  }
  Rows rows(form, form == Form::csv ? columns : std::vector<Column>{{}, {}});
  if (form == Form::csv) rows.add(cells);
  for (std::size_t i = 0; form == Form::table && i < cells.size(); ++i) {
    if (!cells[i].shown.empty()) rows.add({columns[i].title, cells[i].shown});
  }
  rows.end();
}

}  // namespace tool
