#include "store/check/list_opener.h"

#include <utility>

#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/sign/signature.h"
#include "framework/text/lazy_json.h"
#include "framework/url/http_url.h"
#include "framework/url/loggable.h"
#include "pkg/list_files.h"
#include "pkg/store.h"

#include "store/tree_on_disk.h"

namespace zendro::store {

using framework::Result;

void ListOpener::error(std::string_view file, std::string what, std::string advice) {
  add(Severity::error, file, std::move(what), std::move(advice));
}

void ListOpener::warn(std::string_view file, std::string what, std::string advice) {
  add(Severity::warning, file, std::move(what), std::move(advice));
}

void ListOpener::check_digest(std::string_view archive, std::string_view digest,
                              std::string_view file) {
  const std::string actual = framework::to_hex(framework::sha256(archive));
  const auto expected = framework::parse_sha256(digest);
  if (expected && framework::to_hex(*expected) == actual) return;
  error(file,
        "clients refuse the list: " + (expected ? "its digest is another one"
                                                : "\"" + std::string(digest) + "\" is no digest"),
        "write " + actual);
}

void ListOpener::check_signature(std::string_view archive, const Result<std::string>& signature,
                                 const SigningKeys& keys) {
  constexpr std::string_view file = kSignatureName;
  const char* advice = "sign the list with zendro-store sign, or give managers the other key";
  if (!signature) {
    return error(file, "there is no signature to be read: " + signature.error().text, advice);
  }
  const auto verified = framework::verify_signature(*signature, archive, keys);
  if (!verified) error(file, "clients with the key refuse the list: " + verified.error(), advice);
}

void ListOpener::check_bootstrap(const std::string& document, std::string_view file,
                                 std::string& url) {
  const framework::ParsedJson parsed = framework::parse_json(document);
  const char* advice = R"(write {"pkg.store_url": "https://..."} with the URL of the store)";
  if (!parsed) return error(file, "is not JSON: " + parsed.error(), advice);
  try {
    const std::string named = pkg::store_url_of(*parsed);
    if (const auto request = framework::http_request_url(named); !request) {
      return error(file, "\"" + named + "\" is no URL of a store: " + request.error(), advice);
    }
    if (!named.ends_with('/')) {
      error(file, "the URL of the store has no \"/\" at its end", "write \"" + named + "/\"");
    }
    if (!url.empty() && url != named) {
      error(file, "clients are led to another store, " + framework::loggable_url(named),
            "write \"" + url + "\"");
    }
    if (named.starts_with("http:")) {
      warn(file, "with http the list is whatever the network says", "serve the store with https");
    }
    if (url.empty()) url = named;
  } catch (const framework::JsonError& problem) {
    error(file, problem.what(), advice);
  }
}

void ListOpener::open_archive(std::string archive, const std::string& shown) {
  Result<std::string> list = pkg::unpack_list(std::move(archive), kListName, shown);
  if (list) return open_list(std::move(*list));
  error(kArchiveName, "clients cannot unpack it: " + list.error().text,
        "zip " + std::string(kListName) + " alone, with deflate");
}

void ListOpener::open_list(std::string list) {
  const auto refused = [this](const std::string& cause) {
    error(kListName, "clients refuse it: " + cause,
          "docs/lists.md has what a list looks like and may hold");
  };
  LoadedStore store;
  try {
    store.builtin = builtin_of(list);
  } catch (const framework::JsonError& problem) {
    return refused(problem.what());
  }
  pkg::read_list_t parsed = pkg::parse_list(std::move(list));
  if (!parsed) return refused(parsed.error());
  store.list = std::move(*parsed);
  store.type = type_.empty() ? type_of(store.list) : type_;
  if (store.type.empty()) store.type = app::package_types().front().word;
  store.url = url_;
  store_ = std::move(store);
}

OpenedStore ListOpener::take(ReadMember read_member) {
  if (store_) store_->read_member = std::move(read_member);
  return {std::move(store_), std::move(findings_)};
}

void ListOpener::add(Severity severity, std::string_view file, std::string what,
                     std::string advice) {
  findings_.push_back({severity, {}, std::string(file), 0, std::move(what), std::move(advice)});
}

BuiltinNames ListOpener::builtin_of(const std::string& list) {
  BuiltinNames builtin;
  const auto document = framework::LazyDocument::parse(list);
  if (!document) return builtin;
  for (const auto& member : (*document)->members((*document)->root())) {
    if (member.name != "_META") continue;
    const auto& meta = (*document)->object(member.text).values();
    if (const auto* names = meta.if_contains("builtin")) builtin.add(*names);
  }
  return builtin;
}

OpenedStore open_list(std::string list, ReadMember read_member) {
  ListOpener opener;
  opener.open_list(std::move(list));
  return opener.take(std::move(read_member));
}

}  // namespace zendro::store
