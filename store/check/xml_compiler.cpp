#include "store/check/xml_compiler.h"

#include <memory>
#include <mutex>
#include <set>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlschemas.h>
#include <libxml/xmlschemastypes.h>

namespace zendro::store {
namespace {

template <auto Function>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Function(object);
  }
};

/// The compilation that a thread is at.
struct Run {
  const DocumentSource& source;
  Compilation compilation;
  std::set<std::string> malformed;  ///< URLs of what is not well-formed
};
thread_local Run* current = nullptr;

std::string_view text_of(const char* text) { return text == nullptr ? std::string_view() : text; }

DocumentPlace place_of(const xmlParserInput* input) {
  if (input == nullptr) return {};
  return {std::string(text_of(input->filename)), input->line};
}

xmlParserInputPtr load_document(const char* url, const char* public_id, xmlParserCtxtPtr context) {
  if (current == nullptr) return nullptr;
  const DocumentPlace asking = place_of(context == nullptr ? nullptr : context->input);
  const std::string_view bytes = current->source(text_of(url), text_of(public_id), asking);
  if (bytes.data() == nullptr) return nullptr;
  // It copies the bytes.
  xmlParserInputBufferPtr buffer = xmlParserInputBufferCreateMem(
      bytes.data(), static_cast<int>(bytes.size()), XML_CHAR_ENCODING_NONE);
  if (buffer == nullptr) return nullptr;
  xmlParserInputPtr input = xmlNewIOInputStream(context, buffer, XML_CHAR_ENCODING_NONE);
  if (input == nullptr) {
    xmlFreeParserInputBuffer(buffer);
    return nullptr;
  }
  if (url != nullptr) {
    input->filename =
        reinterpret_cast<const char*>(xmlStrdup(reinterpret_cast<const xmlChar*>(url)));
  }
  return input;
}

CompilerMessage::Kind kind_of(const xmlError& error) {
  constexpr std::string_view kUnlocated = "Failed to ";  // locate, load, parse
  switch (error.code) {
    case XML_SCHEMAP_WARN_SKIP_SCHEMA:
      return CompilerMessage::Kind::skipped;
    case XML_SCHEMAP_WARN_UNLOCATED_SCHEMA:
    case XML_SCHEMAP_SRC_IMPORT_2_1:
    case XML_SCHEMAP_SRC_INCLUDE:
    case XML_SCHEMAP_SRC_REDEFINE:
    case XML_SCHEMAP_FAILED_LOAD:
    case XML_SCHEMAP_FAILED_PARSE:
      if (text_of(error.message).find(kUnlocated) == std::string_view::npos) break;
      return CompilerMessage::Kind::unlocated;
    default:
      break;
  }
  return CompilerMessage::Kind::error;
}

void take_message(const xmlError& error) {
  if (current == nullptr) return;
  const CompilerMessage::Kind kind = kind_of(error);
  if (kind == CompilerMessage::Kind::error && error.level < XML_ERR_ERROR) return;
  std::string url(text_of(error.file));
  std::vector<CompilerMessage>& messages = current->compilation.messages;
  if (error.level == XML_ERR_FATAL) {
    // What is not well-formed gives many messages. The first of these tells the cause.
    if (!current->malformed.insert(url).second) return;
    std::erase_if(messages, [&url](const CompilerMessage& one) { return one.place.url == url; });
  }
  std::string text(text_of(error.message));
  text.erase(text.find_last_not_of(" \r\n.") + 1);
  messages.push_back({kind, {std::move(url), error.line}, std::move(text)});
}

// libxml2 changed the type of the error between versions; this fits each.
constexpr auto kTakeMessage = [](void*, auto* error) { take_message(*error); };

// libxml2 makes its tables when they are first used, which is not for two threads at once.
void prepare() {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    xmlSchemaInitTypes();
    xmlSetExternalEntityLoader(load_document);
  });
}

template <typename Compile>
Compilation run(const DocumentSource& source, const Compile& compile) {
  prepare();
  Run own{source, {}, {}};
  current = &own;
  xmlSetStructuredErrorFunc(nullptr, kTakeMessage);  // of this thread
  own.compilation.is_whole = compile();
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  current = nullptr;
  return std::move(own.compilation);
}

}  // namespace

Compilation compile_schema(const std::string& url, const DocumentSource& source) {
  return run(source, [&url] {
    const std::unique_ptr<xmlSchemaParserCtxt, FreeWith<xmlSchemaFreeParserCtxt>> context(
        xmlSchemaNewParserCtxt(url.c_str()));
    if (!context) return false;
    xmlSchemaSetParserStructuredErrors(context.get(), kTakeMessage, nullptr);
    const std::unique_ptr<xmlSchema, FreeWith<xmlSchemaFree>> schema(xmlSchemaParse(context.get()));
    return schema != nullptr;
  });
}

Compilation compile_dtd(const std::string& url, const DocumentSource& source) {
  return run(source, [&url] {
    const auto* name = reinterpret_cast<const xmlChar*>(url.c_str());
    const std::unique_ptr<xmlDtd, FreeWith<xmlFreeDtd>> dtd(xmlParseDTD(nullptr, name));
    return dtd != nullptr;
  });
}

}  // namespace zendro::store
