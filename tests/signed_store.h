// What minisign 0.11 made: keys that sign nothing else, and signatures of one archive.
#pragma once

#include <string>

#include "tests/zip_builder.h"

namespace zendro::tests::signed_store {

/// A list with the build number 6, packed in a way that is the same everywhere.
inline std::string archive() {
  return make_zip({{"pkgs-available.json", R"({"_META":{"build_number":6},"a-1.0.0":{}})", false}});
}

inline constexpr char kKey[] = "RWQuZ1tmeVbQIwD1Jq1FamCLGLw0AdfnH0GU+ldU6194D27KxoOSBG75";
inline constexpr char kSecretKey[] =
    "untrusted comment: minisign encrypted secret key\n"
    "RWQAAEIyAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAALmdbZnlW0CO1"
    "YomX8Yb4d/JwdKRUo8vMfrwCQfVgSJxdcw7BR1/49AD1Jq1FamCLGLw0AdfnH0GU+ldU6194D27KxoOSBG75"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=\n";
inline constexpr char kSignature[] =
    "untrusted comment: signature from minisign secret key\n"
    "RUQuZ1tmeVbQI5n8VGP38UXwG8jUJC4HzNMyglz1Q0TklAts7g2KmOlV5sYEBGLqPpP1hlLfEKSY2zRcDNYW"
    "Vne1KpuwASDnQAw=\n"
    "trusted comment: timestamp:1700000000\tfile:pkgs-available.json.zip\tbuild:6\thashed\n"
    "ZHfKyIfn4ZfdmzkIrCp8LHG+0J15Ryh4zCj5LO43AGX4p/pl2fVBjgyae1G51hCysgOVnlcS0ER6PgUEGCmH"
    "DQ==\n";
/// Of the archive itself, not of its BLAKE2b-512.
inline constexpr char kLegacySignature[] =
    "untrusted comment: signature from minisign secret key\n"
    "RWQuZ1tmeVbQI3P3T+GQjBD1PG9LB2y8bx++gmAIYOYGS+pJUAlHXArFKVp4b1Lbio4KAsf/JN2LWj1J5Htu"
    "SWQaL1ZFDj9w7wo=\n"
    "trusted comment: legacy\n"
    "BIk/l4IhkneVNJpD61BMDwQJp00kHJoq8r21nW87Q2ACNZnKHpi9VbTkTXoLjhGCUFF8/vHjwRHYLPv3auoI"
    "DA==\n";

/// Another key, behind the password "correct horse"; made on a machine with little memory, so that
/// it opens in no time.
inline constexpr char kOtherKey[] = "RWQMVUxjnM4UpKcaWyn4mSfsvdZ1vrkeJ+GFLfV/BaauQPNuJ6L6Nddj";
inline constexpr char kOtherSecretKey[] =
    "untrusted comment: minisign encrypted secret key\n"
    "RWRTY0IypHEs1/xmplUMP5EQamw443hzIOR8F3+gkyXYW3tbAsQAABAAAAAAAAAAAAIAAAAArZ6FWWn6pro6"
    "Mmh7Gsz8+pYXKVtTvZyepvwdyriOjP27eojCV2Qo+jTGNi2FNaPB1f25XKBXkaK79DzfZboz3yQMS0cU2QvD"
    "MqZmMp+6JwcBrXd1bk+HMt7Z6On3yZiJqrBnCA0vh9o=\n";
inline constexpr char kOtherSignature[] =
    "untrusted comment: signature from minisign secret key\n"
    "RUQMVUxjnM4UpFNTbK3gicgTMKlm/UsyihRszTODVKxL5l9vvX3CdIALioW1l2IdPg9yqjBc/rOX21WGZmhv"
    "/drsH7r/j4yKYwY=\n"
    "trusted comment: x\n"
    "/tLjv405B5s+nAc2oazfXteKb9MOYr5pfZOJW7S6hijK4fXj74XBaC2b42tPeBCfDaFQgHDLEKtq8UZIG97X"
    "CA==\n";

}  // namespace zendro::tests::signed_store
