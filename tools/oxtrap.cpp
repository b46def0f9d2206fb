// oxtrap: sends, receives, reads and explains SNMP traps.
#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/cli.h"
#include "tools/community.h"
#include "tools/rows.h"
#include "tools/trap_definitions.h"
#include "tools/trap_record.h"

namespace {

using asio::ip::udp;

struct SendOptions {
  std::string destination;
  std::string version = "2c";
  std::string community = "public";
  std::string enterprise = "1.3.6.1.6.3.1.1.5";
  std::string generic = "enterpriseSpecific";
  uint32_t specific = 0;
  std::string agent;
  uint32_t time = 0;
  int32_t request = 1;
  uint32_t count = 1;
  bool hex = false;
  std::vector<std::string> bindings;
};

udp::endpoint endpoint_of(asio::io_context& context, const std::string& text, uint16_t default_port) {
  const std::size_t colon = text.find(':');
  uint32_t port = default_port;
  if (colon != std::string::npos) {
    const OX_RESULT result = oxcStrToUlong(text.c_str() + colon + 1, 10, &port);
    tool::require(result == OX_OK && (port == 0 || port > 65535) ? OX_RESULT{OX_ERANGE} : result, text);
  }
  asio::error_code error;
  const auto found = udp::resolver(context).resolve(udp::v4(), text.substr(0, colon), "", error);
  if (error) throw std::runtime_error(text + ": " + error.message());
  return {found.begin()->endpoint().address(), static_cast<uint16_t>(port)};
}

// Hundredths of a second since the machine started, or since another fixed time.
uint32_t ticks_now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count() / 10);
}

void fill(tool::Trap& trap, const SendOptions& options, bool time_given) {
  trap.version = options.version == "1" ? OXS_V1 : OXS_V2C;
  trap.pduType = options.version == "1" ? OXS_TRAP : OXS_TRAP2;
  trap.set_community(options.community);
  trap.set_enterprise(options.enterprise);
  const int64_t generic = tool::generic_number(options.generic);
  if (generic < 0) throw tool::Failure(options.generic, OX_EFORMAT);
  trap.genericTrap = static_cast<uint32_t>(generic);
  trap.specificTrap = options.specific;
  trap.timeStamp = time_given ? options.time : ticks_now();
  trap.requestId = static_cast<uint32_t>(options.request);
  if (!options.agent.empty()) {
    tool::require(oxcStrToIpAddr(options.agent.c_str(), &trap.agentAddress), options.agent);
  }
  trap.add_bindings(options.bindings);
}

// The trap's datagram. Version 2c has an identifier in place of the numbers, and none for all that version 1 can say.
std::string datagram_of(const tool::Trap& trap) {
  std::string datagram = trap.encode();
  tool::Trap read;
  tool::decode_trap(datagram, read);
  const bool equal = read.genericTrap == trap.genericTrap && read.specificTrap == trap.specificTrap;
  if (equal || *trap.enterprise == '\0') return datagram;
  throw tool::Usage(
      "version 2c cannot say these numbers: generic traps are those of 1.3.6.1.6.3.1.1.5, and only others are "
      "specific");
}

int send(const SendOptions& options, bool time_given) {
  tool::Trap trap;
  tool::attach_names();
  fill(trap, options, time_given);
  if (options.hex) {
    std::puts(tool::hex_of(datagram_of(trap)).c_str());
    return tool::exit_ok;
  }
  asio::io_context context;
  udp::socket socket(context, udp::v4());
  socket.connect(endpoint_of(context, options.destination, 162));
  if (options.agent.empty()) {
    const auto local = socket.local_endpoint().address().to_v4().to_bytes();
    std::memcpy(&trap.agentAddress, local.data(), sizeof trap.agentAddress);
  }
  const std::string datagram = datagram_of(trap);
  for (uint32_t i = 0; i < options.count; ++i) socket.send(asio::buffer(datagram));
  return tool::exit_ok;
}

// ---- Reading ----

// A message's length, from its first bytes; 0 when they begin none.
std::size_t message_size(const std::string& bytes, std::size_t at) {
  const auto byte = [&](std::size_t i) -> std::size_t {
    return at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0;
  };
  if (byte(0) != 0x30) return 0;
  if (byte(1) < 0x80) return 2 + byte(1);
  const std::size_t count = byte(1) & 0x7F;
  if (count == 0 || count > 3) return 0;
  std::size_t size = 0;
  for (std::size_t i = 0; i < count; ++i) size = size << 8 | byte(2 + i);
  return 2 + count + size;
}

// The messages of a file: back to back in binary form, or one a line in hex, with "#" for comments. The first
// character tells them apart: a message begins with the byte "0", a message in hex with the digit "3".
std::vector<std::string> datagrams_of(const std::string& contents) {
  std::vector<std::string> all;
  if (!contents.empty() && contents[0] == '0') {
    for (std::size_t at = 0; at < contents.size();) {
      const std::size_t size = message_size(contents, at);
      all.push_back(contents.substr(at, size != 0 ? size : std::string::npos));
      at += all.back().size();
    }
    return all;
  }
  std::istringstream lines(contents);
  std::size_t number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    try {
      all.push_back(tool::from_hex(line));
    } catch (const std::exception& error) {
      throw std::runtime_error("line " + std::to_string(number) + ": " + error.what());
    }
  }
  return all;
}

std::string contents_of(const std::string& file) {
  if (file == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::ifstream stream(tool::system_path(file), std::ios::binary);
  if (!stream) throw tool::Failure(file, OX_EOPEN);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> datagrams(const std::vector<std::string>& hex, const std::string& file) {
  std::vector<std::string> all;
  if (!file.empty()) all = datagrams_of(contents_of(file));
  std::string joined;
  for (const std::string& word : hex) joined += word;
  if (!joined.empty()) all.push_back(tool::from_hex(joined));
  if (all.empty()) throw tool::Usage("no datagram given");
  return all;
}

// ---- Showing ----

enum class Form { text, json, explained };

class Show {
 public:
  explicit Show(Form form) : form_(form) {
    tool::attach_names();
    definitions_ = tool::read_definitions();
  }

  // False, with a word on the error stream, for bytes that are no trap.
  bool operator()(const std::string& datagram) {
    tool::Trap trap;
    try {
      tool::decode_trap(datagram, trap);
    } catch (const tool::Failure& failure) {
      tool::say(stderr, "oxtrap: %s\n", tool::message_of(failure).c_str());
      return false;
    }
    const oxcTrTag* tag = tool::definition_of(definitions_.get(), trap);
    if (form_ == Form::json) {
      std::puts(tool::json_text(tool::json_of(trap, tag)).c_str());
    } else {
      if (shown_++ != 0) tool::say(stdout, "\n");
      if (form_ == Form::explained) {
        tool::explain(definitions_.get(), trap, datagram);
      } else {
        tool::print_trap(trap, tag);
      }
    }
    (void)std::fflush(stdout);
    return true;
  }

 private:
  Form form_;
  tool::Definitions definitions_;
  std::size_t shown_ = 0;
};

int show_all(const std::vector<std::string>& all, Form form) {
  Show show(form);
  int result = tool::exit_ok;
  for (const std::string& datagram : all) {
    if (!show(datagram)) result = tool::exit_failed;
  }
  return result;
}

int listen(uint16_t port, uint32_t count, bool json) {
  Show show(json ? Form::json : Form::text);
  asio::io_context context;
  udp::socket socket(context, udp::endpoint(udp::v4(), port));
  tool::say(stderr, "oxtrap: listening on port %u\n", socket.local_endpoint().port());
  std::vector<char> space(65536);
  for (uint32_t received = 0; count == 0 || received < count;) {
    udp::endpoint from;
    asio::error_code error;
    const std::size_t size = socket.receive_from(asio::buffer(space), from, 0, error);
    if (error == asio::error::connection_reset) continue;  // tells of an answer that nobody took
    if (error) throw std::runtime_error("receiving: " + error.message());
    ++received;
    (void)show({space.data(), size});
    void* answer = nullptr;
    uint32_t length = 0;
    if (oxsSnmpInformAnswer(space.data(), static_cast<uint32_t>(size), &answer, &length) == OX_OK) {
      socket.send_to(asio::buffer(answer, length), from, 0, error);  // the sender asks again
      (void)oxcMemFree(answer);
    }
  }
  return tool::exit_ok;
}

void add_send_options(tool::Command& command, SendOptions& options) {
  command.add_option("destination", options.destination, "host, or host:port (default port 162)").required();
  command.add_option("bindings", options.bindings, "name and value, as many pairs as wanted; NAME:TYPE for a type")
      .any_number();
  command.add_option("-V,--version", options.version, "1 or 2c").one_of({"1", "2c"});
  command.add_option("-c,--community", options.community, "community (default: public)");
  command.add_option("-e,--enterprise", options.enterprise, "object identifier of the enterprise");
  command.add_option("-g,--generic", options.generic, "number or name, such as linkDown");
  command.add_option("-s,--specific", options.specific, "specific number");
  command.add_option("-a,--agent", options.agent, "agent address of version 1 (default: this machine's)");
  command.add_option("--time", options.time, "time stamp in hundredths of a second (default: this machine's)");
  command.add_option("--request", options.request, "request identifier of version 2c");
  command.add_option("--count", options.count, "how many times to send it");
  command.add_flag("--hex", options.hex, "print the datagram instead of sending it");
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("SNMP traps: sends, receives, reads and explains them.", "oxtrap");
  app.require_subcommand();
  SendOptions options;
  std::vector<std::string> hex;
  std::vector<std::string> files;
  std::string file;
  bool json = false;
  uint16_t port = 162;
  uint32_t count = 0;

  tool::Command sender = app.add_subcommand("send", "send a trap");
  add_send_options(sender, options);
  tool::Command decoder = app.add_subcommand("decode", "print datagrams and the definitions that match");
  tool::Command explainer =
      app.add_subcommand("explain", "print which definition matches and why, and which come close");
  for (tool::Command* reader : {&decoder, &explainer}) {
    reader->add_option("datagram", hex, "hex digits, in one word or several");
    reader->add_option("-f,--file", file, "file of datagrams: binary, or hex, one a line; - for standard input");
  }
  decoder.add_flag("-j,--json", json, "JSON, one object a line");
  tool::Command checker =
      app.add_subcommand("check", "check definition files and try their samples; faults as file:line: text");
  checker.add_option("files", files, "files, in reading order (default: those of the installation)");
  const tool::Command reloader =
      app.add_subcommand("reload", "have the manager read the definition files anew, within a second");
  tool::Command listener = app.add_subcommand("listen", "print the traps that arrive, and answer informs");
  listener.add_option("-p,--port", port, "UDP port (default: 162)");
  listener.add_option("-n,--count", count, "end after so many datagrams");
  listener.add_flag("-j,--json", json, "JSON, one object a line");
  for (tool::Command* shower : {&decoder, &explainer, &listener}) tool::add_communities_option(*shower);
  app.footer(
      "Examples:\n"
      "  oxtrap send manager -g linkDown .interfaces.ifTable.ifEntry.ifIndex.3 3\n"
      "  oxtrap send -V 1 manager:8162 -e 1.3.6.1.4.1.64312.2 -s 17 1.3.6.1.4.1.64312.2.1.0:DisplayString 'fan 2'\n"
      "  oxtrap send manager -e 1.3.6.1.4.1.64312.2 -s 3 -- 1.3.6.1.4.1.64312.2.2.0:INTEGER -5\n"
      "  oxtrap decode 302e0201010406...\n"
      "  oxtrap listen --port 8162\n"
      "  oxtrap explain --file unknown.hex\n"
      "Exit code: 0 done, 1 an error, a fault in a file or bytes that are no trap, 2 usage.");
  std::vector<std::string> arguments = tool::arguments(argc, argv);
  const std::vector<std::string> behind = tool::take_behind_dashes(arguments);
  return tool::run(app, std::move(arguments), [&] {
    std::vector<std::string>& words = sender.parsed() ? options.bindings : hex;
    words.insert(words.end(), behind.begin(), behind.end());
    if (sender.parsed()) return send(options, sender.got_option("--time"));
    if (decoder.parsed()) return show_all(datagrams(hex, file), json ? Form::json : Form::text);
    if (explainer.parsed()) return show_all(datagrams(hex, file), Form::explained);
    if (listener.parsed()) return listen(port, count, json);
    if (reloader.parsed()) {
      tool::require(oxcTrSetReloadFlag(), "reload");
      return tool::exit_ok;
    }
    tool::attach_names();
    return tool::check_definitions(tool::system_paths(files)) == 0 ? tool::exit_ok : tool::exit_failed;
  });
}
