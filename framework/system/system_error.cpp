#include "framework/system/system_error.h"

#include <system_error>

namespace zendro::framework {

std::string exception_text(const std::exception& exception) {
  const auto* failure = dynamic_cast<const std::system_error*>(&exception);
  if (failure == nullptr || failure->code().category() != std::system_category()) {
    return exception.what();
  }
  // What whoever threw it said, and then the text for the code.
  std::string_view label = failure->what();
  const std::string untranslated = failure->code().message();
  if (label.ends_with(untranslated)) label.remove_suffix(untranslated.size());
  return std::string(label) + system_cause(failure->code().value());
}

}  // namespace zendro::framework
