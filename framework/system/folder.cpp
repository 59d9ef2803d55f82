#include "framework/system/folder.h"

#include <array>
#include <utility>

#include "framework/system/file_stream.h"
#include "framework/system/files.h"
#include "framework/text/utf8.h"

namespace zendro::framework {
namespace {

// Names that Windows gives to devices in every folder, with or without an extension.
bool is_device_name(std::string_view name) {
  std::string base(name.substr(0, name.find('.')));
  while (base.ends_with(' ')) base.pop_back();
  for (char& c : base) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  constexpr std::array<std::string_view, 6> kNames = {"CON", "PRN",    "AUX",
                                                      "NUL", "CONIN$", "CONOUT$"};
  for (const std::string_view device : kNames) {
    if (base == device) return true;
  }
  if (!base.starts_with("COM") && !base.starts_with("LPT")) return false;
  const std::string_view number = std::string_view(base).substr(3);
  if (number.size() == 1) return number[0] >= '1' && number[0] <= '9';
  return number == "\u00B9" || number == "\u00B2" || number == "\u00B3";
}

// Spreads a value over all 64 bits (the finaliser of SplitMix64).
std::uint64_t mixed(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

}  // namespace

bool is_plain_name(std::string_view name) {
  return is_plain_or_device_name(name) && !is_device_name(name);
}

bool is_plain_or_device_name(std::string_view name) {
  constexpr std::size_t kLongestName = 255;
  constexpr std::string_view kRefused = "/\\:*?\"<>|";
  if (name.empty() || name.size() > kLongestName) return false;
  if (name.ends_with('.') || name.ends_with(' ')) return false;  // "." and ".." among them
  for (std::size_t i = 0; i < name.size();) {
    char32_t character = 0;
    const std::size_t length = decode_utf8(name.substr(i), character);
    if (length == 0) return false;
    if (character < 0x20 || (character >= 0x7F && character <= 0x9F)) return false;
    if (length == 1 && kRefused.find(name[i]) != std::string_view::npos) return false;
    i += length;
  }
  return true;
}

std::shared_ptr<IOImpl_base> Folder::open_file(std::string_view name, IoError& error) const {
  bool is_foreign = false;
  SystemFile file = open_entry(name, OpenHow::read, is_foreign, error);
  return file ? make_file_stream(std::move(file), FileAccess::read, label(name)) : nullptr;
}

std::shared_ptr<IOImpl_base> Folder::create_file(std::string_view name, IoError& error) const {
  bool is_new = false;
  SystemFile file = open_own(name, OpenHow::write, is_new, error);
  if (!file) return nullptr;
  if (!file.set_length(0)) {
    error.text = label(name) + ": " + file.cause();
    return nullptr;
  }
  return make_file_stream(std::move(file), FileAccess::write, label(name));
}

std::shared_ptr<IOImpl_base> Folder::create_new_file(std::string_view name, IoError& error) const {
  bool is_foreign = false;
  SystemFile file = open_entry(name, OpenHow::write_new, is_foreign, error);
  return file ? make_file_stream(std::move(file), FileAccess::write, label(name)) : nullptr;
}

std::shared_ptr<IOImpl_base> Folder::append_file(std::string_view name, IoError& error) const {
  bool is_new = false;
  SystemFile file = open_own(name, OpenHow::append, is_new, error);
  return file ? make_file_stream(std::move(file), FileAccess::write, label(name)) : nullptr;
}

bool Folder::read_file(std::string_view name, std::string& out, std::uint64_t limit,
                       IoError& error) const {
  out.clear();
  const auto stream = open_file(name, error);
  return stream && read_all(*stream, out, 0, limit, error, label(name));
}

WriteOutcome Folder::write_file(std::string_view name, std::string_view bytes,
                                IoError& error) const {
  bool is_foreign = false;
  IoError ignored;
  SystemFile file = open_entry(name, OpenHow::write_new, is_foreign, ignored);
  bool is_new = static_cast<bool>(file);
  if (!is_new) file = open_own(name, OpenHow::write, is_new, error);
  if (!file) return WriteOutcome::not_opened;
  if (file.replace_contents(bytes)) return WriteOutcome::written;
  error.text = label(name) + ": " + file.cause();
  file.close();  // what is open cannot be removed everywhere
  if (is_new) remove_file(name, ignored);
  return WriteOutcome::not_written;
}

SystemFile Folder::open_lock(std::string_view name, IoError& error) const {
  bool is_foreign = false;
  SystemFile file = open_entry(name, OpenHow::read_write, is_foreign, error);
  if (file || is_foreign) return file;
  // Another user's file may be locked without the right to write it.
  IoError ignored;
  file = open_entry(name, OpenHow::read, is_foreign, ignored);
  if (file) error = {};
  return file;
}

std::uint64_t Folder::stamp_of(std::string_view name) const {
  const std::vector<std::uint64_t> values = stamp_values(name);
  if (values.empty()) return 0;
  std::uint64_t stamp = 0;
  for (const std::uint64_t value : values) stamp = mixed(stamp ^ value);
  return stamp == 0 ? 1 : stamp;
}

std::string Folder::label(std::string_view name) const {
  return path_to_utf8(path() / path_from_utf8(name));
}

SystemFile Folder::open_own(std::string_view name, OpenHow how, bool& is_new,
                            IoError& error) const {
  bool is_foreign = false;
  SystemFile file = open_entry(name, how, is_foreign, error);
  is_new = is_foreign && remove_file(name, error);
  if (!is_new) return file;
  error = {};
  return open_entry(name, how, is_foreign, error);
}

}  // namespace zendro::framework
