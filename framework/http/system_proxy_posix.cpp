#include "framework/http/system_proxy.h"

namespace zendro::framework {
namespace {

// The settings are the variables of the environment.
class EnvironmentOnly : public SystemProxy {
 public:
  std::string for_url(const std::string&) override { return {}; }
};

}  // namespace

std::unique_ptr<SystemProxy> make_system_proxy() { return std::make_unique<EnvironmentOnly>(); }

}  // namespace zendro::framework
