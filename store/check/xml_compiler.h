// Compiling XML schemas (W3C XML Schema 1.0) and document type definitions (XML 1.0) with libxml2.
// Nothing is read from the disk or the network: whoever compiles hands in every document.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::store {

/// A place in a document. The line counts from 1; 0 stands for the whole.
struct DocumentPlace {
  std::string url;
  int line = 0;
};

/// Gives the text of the document with an absolute URL or, where that is not known, a public
/// identifier (may be empty), which is asked for at `asking`. The view lives until the compilation
/// ends. Without data(): there is none.
using DocumentSource = std::function<std::string_view(
    std::string_view url, std::string_view public_id, const DocumentPlace& asking)>;

struct CompilerMessage {
  enum class Kind {
    error,      ///< of a document that is not well-formed the first one
    unlocated,  ///< a document was not found or cannot be read, which has been said of that
    skipped,    ///< one more document of a namespace was left out, which only this compiler does
  };
  Kind kind = Kind::error;
  DocumentPlace place;
  std::string text;
};

struct Compilation {
  bool is_whole = false;  ///< compiled to the end
  std::vector<CompilerMessage> messages;
};

// Both may be called from several threads at once. libxml2 has one loader of documents for the
// whole process: from the first call on it asks the source of the calling thread, and outside of
// these functions finds nothing.

/// Compiles the schema at a URL that `source` knows, with all that it imports and includes.
Compilation compile_schema(const std::string& url, const DocumentSource& source);

/// Reads the external subset at a URL, with all parameter entities that it refers to.
Compilation compile_dtd(const std::string& url, const DocumentSource& source);

}  // namespace zendro::store
