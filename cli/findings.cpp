#include "cli/findings.h"

#include "cli/cli_messages.h"

namespace zendro::cli {

std::string state_name(pkg::member_state state) {
  switch (state) {
    case pkg::member_state::damaged:
      return filled(Text::member_damaged);
    case pkg::member_state::missing:
      return filled(Text::member_missing);
    case pkg::member_state::unreadable:
      return filled(Text::member_unreadable);
    case pkg::member_state::foreign:
      return filled(Text::member_foreign);
  }
  return {};
}

}  // namespace zendro::cli
