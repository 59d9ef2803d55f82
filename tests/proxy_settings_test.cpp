#include "framework/http/proxy_settings.h"

#include <gtest/gtest.h>

namespace zendro::framework {
namespace {

TEST(ProxySettings, TheFirstProxyForTheSchemeCounts) {
  constexpr const char* kPlain = "http://store.example/x";
  constexpr const char* kSecure = "https://u:p@store.example:8443/x?http://other/";
  const struct {
    const char* proxies;
    const char* plain;
    const char* secure;
  } cases[] = {
      {"", "", ""},
      {"proxy:8080", "http://proxy:8080", "http://proxy:8080"},
      {"one:1;two:2", "http://one:1", "http://one:1"},
      {"http=a:1;https=b:2", "http://a:1", "http://b:2"},
      {" HTTPS=b:2  ftp=c:3 ", "", "http://b:2"},
      {"http=a:1 socks=s:1080", "http://a:1", "socks4://s:1080"},
      {"https=https://b:2;http=socks5://Me:Secret@c", "socks5://Me:Secret@c", "https://b:2"},
      {"http=;=;;ftp=x", "", ""},
  };
  for (const auto& [proxies, plain, secure] : cases) {
    EXPECT_EQ(proxy_for(kPlain, {proxies, ""}), plain) << proxies;
    EXPECT_EQ(proxy_for(kSecure, {proxies, ""}), secure) << proxies;
  }
}

TEST(ProxySettings, ExceptionsAreReachedWithoutAProxy) {
  const struct {
    const char* url;
    const char* bypass;
    bool direct;
  } cases[] = {
      {"http://store.example/", "", false},
      {"http://STORE.example/", "other; store.EXAMPLE", true},
      {"http://a.store.example/", "store.example", false},
      {"http://a.store.example/", "*.store.example", true},
      {"http://store.example/", "*.store.example", false},
      {"http://a.store.example/", "*store*ple", true},
      {"http://192.168.1.9:8080/x", "10.*;192.168.*", true},
      {"http://intranet/", "<local>", true},
      {"http://store.example/", "<local>", false},
      {"http://[2001:db8::1]/", "<local>", false},
      {"http://[2001:db8::1]:81/", "[2001:db8::1]", true},
      {"https://store.example/", "http://store.example", false},
      {"https://store.example/", "https://store.example:443", true},
      {"https://store.example:444/", "store.example:443", false},
      {"http://127.0.0.1:81/", "", true},
      {"http://127.store.example/", "", false},
      {"http://localhost/", "", true},
      {"http://[::1]:81/", "", true},
      {"http://localhost/", "<-loopback>", false},
      {"http://localhost/", "<-loopback>;<local>", true},
  };
  for (const auto& [url, bypass, direct] : cases) {
    EXPECT_EQ(proxy_for(url, {"proxy:1", bypass}).empty(), direct) << url << " " << bypass;
  }
}

}  // namespace
}  // namespace zendro::framework
