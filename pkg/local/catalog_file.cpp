#include "pkg/local/catalog_file.h"

#include "framework/text/xml.h"

namespace zendro::pkg::local {

void catalog_writer::location(std::string_view key, std::string_view target) {
  make_room(2);
  entry("<system systemId=\"", key, "\" uri=\"", target);
  entry("<uri name=\"", key, "\" uri=\"", target);
}

void catalog_writer::prefix(std::string_view key, std::string_view target) {
  make_room(2);
  entry("<rewriteSystem systemIdStartString=\"", key, "\" rewritePrefix=\"", target);
  entry("<rewriteURI uriStartString=\"", key, "\" rewritePrefix=\"", target);
}

void catalog_writer::uri(std::string_view name, std::string_view target) {
  make_room(1);
  entry("<uri name=\"", name, "\" uri=\"", target);
}

void catalog_writer::public_id(std::string_view public_id, std::string_view target) {
  make_room(1);
  entry("<public publicId=\"", public_id, "\" uri=\"", target);
}

std::vector<file_t> catalog_writer::take(const std::string& stem,
                                         const std::vector<std::string>& next) {
  if (bodies_.empty() && !next.empty()) bodies_.emplace_back();
  std::vector<file_t> files;
  for (std::size_t at = 0; at < bodies_.size(); ++at) {
    files.push_back({stem + (at == 0 ? "" : std::to_string(at + 1)) + ".xml", {}});
  }
  for (std::size_t at = 0; at < bodies_.size(); ++at) {
    std::string& text = files[at].text;
    text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<catalog xmlns=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\" prefer=\"public\">\n";
    text += bodies_[at];
    const auto lead_to = [&text](std::string_view catalog) {
      text += "  <nextCatalog catalog=\"";
      framework::append_attribute_value(text, catalog);
      text += "\" />\n";
    };
    if (at == 0) {
      for (std::size_t other = 1; other < files.size(); ++other) lead_to(files[other].name);
      for (const std::string& catalog : next) lead_to(catalog);
    }
    text += "</catalog>\n";
  }
  bodies_.clear();
  return files;
}

void catalog_writer::make_room(std::size_t entries) {
  if (bodies_.empty() || entries_ + entries > kMostEntries) {
    bodies_.emplace_back();
    entries_ = 0;
  }
  entries_ += entries;
}

void catalog_writer::entry(std::string_view key_begin, std::string_view key,
                           std::string_view target_begin, std::string_view target) {
  std::string& text = bodies_.back();
  text += "  ";
  text += key_begin;
  framework::append_attribute_value(text, key);
  text += target_begin;
  framework::append_attribute_value(text, target);
  text += "\" />\n";
}

}  // namespace zendro::pkg::local
