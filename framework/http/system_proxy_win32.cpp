#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "framework/http/system_proxy.h"
// Needs the types of windows.h.
#include <winhttp.h>

#include "framework/http/proxy_settings.h"
#include "framework/text/url_parts.h"
#include "framework/text/utf8.h"

namespace zendro::framework {
namespace {

/// A copy of a text that the system has allocated, which is freed.
std::wstring copy_and_free(wchar_t* text) {
  if (text == nullptr) return {};
  std::wstring copy(text);
  GlobalFree(text);
  return copy;
}

bool is_variable_set() {
  for (const wchar_t* name : {L"http_proxy", L"https_proxy", L"all_proxy"}) {
    if (GetEnvironmentVariableW(name, nullptr, 0) > 1) return true;
  }
  return false;
}

/// "http://host:port/" of a URL: what an automatic configuration may know of it.
std::string origin_of(const std::string& url) {
  const std::string_view authority = url_authority(url);
  const std::string_view server = authority.substr(authority.rfind('@') + 1);  // npos + 1 is 0
  return std::string(url_scheme(url)).append("://").append(server).append("/");
}

class Win32Proxy : public SystemProxy {
 public:
  ~Win32Proxy() override {
    if (session_ != nullptr) WinHttpCloseHandle(session_);
  }

  std::string for_url(const std::string& url) override {
    if (is_variable_set()) return {};
    const std::string origin = origin_of(url);
    const auto [known, is_new] = known_.try_emplace(origin);
    if (is_new) known->second = look_up(origin);
    return known->second;
  }

 private:
  std::string look_up(const std::string& origin) {
    if (!settings_read_) read_settings();
    if (auto_detect_ || !script_url_.empty()) {
      if (const std::optional<ProxySettings> automatic = ask_script(origin)) {
        return proxy_for(origin, *automatic);
      }
    }
    return proxy_for(origin, settings_);
  }

  /// Reads the settings of the user, or those of the machine where the user has none.
  void read_settings() {
    settings_read_ = true;
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG user{};
    if (WinHttpGetIEProxyConfigForCurrentUser(&user) != 0) {
      auto_detect_ = user.fAutoDetect != 0;
      script_url_ = copy_and_free(user.lpszAutoConfigUrl);
      settings_ = {to_utf8(copy_and_free(user.lpszProxy)),
                   to_utf8(copy_and_free(user.lpszProxyBypass))};
    }
    if (auto_detect_ || !script_url_.empty() || !settings_.proxies.empty()) return;
    WINHTTP_PROXY_INFO machine{};
    if (WinHttpGetDefaultProxyConfiguration(&machine) != 0) settings_ = texts_of(machine);
  }

  static ProxySettings texts_of(const WINHTTP_PROXY_INFO& info) {
    ProxySettings settings{to_utf8(copy_and_free(info.lpszProxy)),
                           to_utf8(copy_and_free(info.lpszProxyBypass))};
    return info.dwAccessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY ? settings : ProxySettings();
  }

  /// What the automatic configuration says; nothing where there is none to be had.
  std::optional<ProxySettings> ask_script(const std::string& origin) {
    if (session_ == nullptr) {
      session_ = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                             WINHTTP_NO_PROXY_BYPASS, 0);
    }
    WINHTTP_AUTOPROXY_OPTIONS options{};
    if (auto_detect_) {
      options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
      options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    }
    if (!script_url_.empty()) {
      options.dwFlags |= WINHTTP_AUTOPROXY_CONFIG_URL;
      options.lpszAutoConfigUrl = script_url_.c_str();
    }
    const std::wstring url = to_wide(origin);
    // The user's password is offered only to a server that asks for it.
    for (const BOOL log_on : {FALSE, TRUE}) {
      options.fAutoLogonIfChallenged = log_on;
      WINHTTP_PROXY_INFO info{};
      if (session_ != nullptr &&
          WinHttpGetProxyForUrl(session_, url.c_str(), &options, &info) != 0) {
        return texts_of(info);
      }
      if (GetLastError() != ERROR_WINHTTP_LOGIN_FAILURE) break;
    }
    // A configuration that was not found takes long to look for, so it is looked for only once.
    auto_detect_ = false;
    script_url_.clear();
    return std::nullopt;
  }

  bool settings_read_ = false;
  bool auto_detect_ = false;
  std::wstring script_url_;
  ProxySettings settings_;
  HINTERNET session_ = nullptr;
  std::map<std::string, std::string> known_;
};

}  // namespace

std::unique_ptr<SystemProxy> make_system_proxy() { return std::make_unique<Win32Proxy>(); }

}  // namespace zendro::framework
