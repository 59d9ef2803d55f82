// The output of the program, with its own texts.
#pragma once

#include "msg/format.h"

#include "cli/cli_messages.h"
#include "console/output.h"

namespace zendro::cli {

namespace json = boost::json;

/// Thread-safe.
class Output : public console::Output {
 public:
  using console::Output::Output;

  void error(Text text, const msg::Arguments& arguments = {}) {
    console::Output::error(filled(text, arguments), identifier_of(text));
  }
  void note(Text text, const msg::Arguments& arguments = {}) {
    console::Output::note(filled(text, arguments), identifier_of(text));
  }
  void ask(Text question) { console::Output::ask(filled(question)); }
};

}  // namespace zendro::cli
