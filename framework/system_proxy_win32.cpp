#include <algorithm>
#include <map>
#include <optional>

#include <windows.h>

#include "framework/system_proxy.h"
// Needs the types of windows.h.
#include <winhttp.h>

#include "framework/path_win32.h"
#include "framework/proxy_settings.h"

namespace zendro::framework {
namespace {

/// A text that the system has allocated.
std::wstring taken(wchar_t* text) {
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
  const std::size_t host = url.find("://") + 3;
  const std::size_t end = std::min(url.find_first_of("/?#", host), url.size());
  const std::size_t at = url.rfind('@', end);
  const std::size_t begin = at == std::string::npos || at < host ? host : at + 1;
  return url.substr(0, host) + url.substr(begin, end - begin) + "/";
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

  /// The settings of the user, or without any those of the machine.
  void read_settings() {
    settings_read_ = true;
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG user{};
    if (WinHttpGetIEProxyConfigForCurrentUser(&user) != 0) {
      auto_detect_ = user.fAutoDetect != 0;
      script_url_ = taken(user.lpszAutoConfigUrl);
      settings_ = {narrow(taken(user.lpszProxy)), narrow(taken(user.lpszProxyBypass))};
    }
    if (auto_detect_ || !script_url_.empty() || !settings_.proxies.empty()) return;
    WINHTTP_PROXY_INFO machine{};
    if (WinHttpGetDefaultProxyConfiguration(&machine) != 0) settings_ = texts_of(machine);
  }

  static ProxySettings texts_of(const WINHTTP_PROXY_INFO& info) {
    ProxySettings settings{narrow(taken(info.lpszProxy)), narrow(taken(info.lpszProxyBypass))};
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
    const std::wstring url = wide(origin);
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
    // Looked for in vain once, it is not looked for again.
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
