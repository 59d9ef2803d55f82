#include "pkg/package_list.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/text/ascii.h"
#include "pkg/identity_index.h"
#include "pkg/list_files.h"
#include "pkg/merged_view.h"
#include "pkg/meta_maps.h"
#include "pkg/plan.h"
#include "pkg/references.h"
#include "pkg/referrers.h"
#include "tests/stopwatch.h"

namespace zendro::pkg {
namespace {

pkgs_available_t list_of(std::string_view text) {
  read_list_t list = parse_list(std::string(text));
  EXPECT_TRUE(list) << list.error();
  return list ? std::move(*list) : pkgs_available_t();
}

std::string failure_of(std::string_view text) {
  const read_list_t list = parse_list(std::string(text));
  return list ? "" : list.error();
}

std::string best(const pkgs_available_t& list, const char* key) {
  const package_t* found = find_best(list.packages(), parse_identity(key));
  return found == nullptr ? "" : to_string(found->identity);
}

TEST(PackageList, ReadsMembersSortedAndKeepsTheDeprecatedApart) {
  const pkgs_available_t list = list_of(R"({
    "b-1.0.0": {}, "_META": {"build_number": 42}, "a-1.0.0": {"_name": "a"}, "a-1.2.0": {},
    "_DEPRECATED": {"b-0.9.0": {}, "a-0.9.0": {"title": "old"}}, "a-01.0.0": {"_name": "late"}})");
  ASSERT_EQ(list.packages().size(), 3u);
  EXPECT_EQ(to_string(list.packages()[0].identity), "a-1.2.0");
  EXPECT_EQ(to_string(list.packages()[1].identity), "a-1.0.0");
  EXPECT_EQ(to_string(list.packages()[2].identity), "b-1.0.0");
  EXPECT_EQ(list.packages()[1].key, "a-1.0.0") << "the first of two";
  EXPECT_EQ(list.build_number(), 42);
  ASSERT_EQ(list.deprecated().size(), 2u);
  ASSERT_NE(list.find_entry(parse_identity("a-0.9.0")), nullptr);
  EXPECT_EQ(list.find_entry(parse_identity("a-0.9.0"))->meta.title(), "old");
  EXPECT_EQ(find_exact(list.packages(), parse_identity("a-0.9.0")), nullptr);

  const pkgs_available_t bare = list_of("{}");
  EXPECT_FALSE(bare.build_number());
  EXPECT_TRUE(bare.packages().empty() && bare.deprecated().empty());
  EXPECT_FALSE(list_of(R"({"_META": {}})").build_number());
  EXPECT_EQ(list_of(R"({"_META": {"build_number": null}})").build_number(), 0);
}

TEST(PackageList, RefusesWhatIsNoList) {
  EXPECT_EQ(failure_of("[]"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"a-1.0.0": "text"})"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"_META": null})"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"_DEPRECATED": null})"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"_DEPRECATED": []})"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"_DEPRECATED": {"a-1.0.0": 1}})"), "Cannot cast value to JSON map!");
  EXPECT_EQ(failure_of(R"({"_META": {"build_number": "7"}})"),
            "Cannot cast value to JSON integer!");
  EXPECT_EQ(failure_of(R"({"_META": {"build_number": 1.5}})"),
            "Cannot convert JSON value to int64_t");
  // Not JSON: cut off, something behind it, a number that nothing could write again, nested too
  // deeply, bytes that are not UTF-8.
  std::string deep = "{\"a-1.0.0\":{\"x\":" + std::string(40, '[') + std::string(40, ']') + "}}";
  for (const std::string& text :
       {std::string(), std::string("{\"a-1.0.0\": {}"), std::string("{} {}"),
        std::string("{\"a-1.0.0\": {\"x\": 1e400}}"), deep,
        std::string("{\"a-1.0.0\": {\"x\": \"\xFF\"}}")}) {
    EXPECT_FALSE(failure_of(text).empty()) << text;
  }
}

// Whether packages stand in order or not.
TEST(PackageList, OfRepeatedEntriesTheLastCountsAtThePlaceOfTheFirst) {
  const struct {
    const char* text;
    const char* members;
    std::size_t packages;
  } rows[] = {
      {R"({"a-1.0.0":7,"b-1.0.0":{},"a-1.0.0":{"v":2}})", R"("a-1.0.0":{"v":2},"b-1.0.0":{})", 2},
      {R"({"a-1.0.0":{},"a-1.0.0":{"v":2}})", R"("a-1.0.0":{"v":2})", 1},
      {R"({"_META":0,"a-1.0.0":{},"_META":{"v":2}})", R"("_META":{"v":2},"a-1.0.0":{})", 1},
      {R"({"x":{"v":1},"a-1.0.0":{},"y":{},"x":{}})", R"("x":{},"a-1.0.0":{},"y":{})", 1},
      {R"({"_DEPRECATED":{"b-1.0.0":{}},"a-1.0.0":{},"_DEPRECATED":{}})",
       R"("_DEPRECATED":{},"a-1.0.0":{})", 1},
      // Two names, but one identity.
      {R"({"a-1.0.0":{},"a-01.0.0":{}})", R"("a-1.0.0":{},"a-01.0.0":{})", 1},
  };
  for (const auto& row : rows) {
    const pkgs_available_t list = list_of(row.text);
    std::string members = list.serialise();
    std::erase(members, '\n');
    EXPECT_EQ(members, "{" + std::string(row.members) + "}") << row.text;
    EXPECT_EQ(list.packages().size(), row.packages) << row.text;
    EXPECT_TRUE(list.deprecated().empty() && list.refused().size() <= 2) << row.text;
  }
  const pkgs_available_t deprecated =
      list_of(R"({"_DEPRECATED":{"a-1.0.0":{"title":"first"},"a-1.0.0":{"title":"last"}}})");
  ASSERT_EQ(deprecated.deprecated().size(), 1U);
  EXPECT_EQ(deprecated.deprecated()[0].meta.title(), "last");
}

TEST(PackageList, HoldsNoMoreThanItMay) {
  const auto times = [](std::size_t count, std::string_view part) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += part;
    text.pop_back();
    return text;
  };
  const auto entry = [](const std::string& members) { return "{\"a-1.0.0\":{" + members + "}}"; };
  const struct {
    std::string allowed;
    std::string refused;
    std::string cause;
  } rows[] = {
      {"{" + times(kMostEntries, "\"\":{},") + "}",
       "{\"_DEPRECATED\":{" + times(kMostEntries, "\"\":{},") + "}}",
       "1000003 entries are more than the limit of 1000002."},
      {"{}", "{" + times(kMostEntries + 1, "\"\":{},") + "}",
       "1000003 entries are more than the limit of 1000002."},
      {"{}", "{\"_META\":{\"x\":[" + times(kMostEntryValues, "0,") + "]}}",
       "_META: 250001 values are more than the limit of 250000."},
      {"{}", "{\"_DEPRECATED\":" + entry("\"x\":[" + times(kMostEntryValues, "0,") + "]") + "}",
       "a-1.0.0: 250001 values are more than the limit of 250000."},
      {entry("\"x\":[" + times(kMostEntryValues - 1, "0,") + "]"),
       entry("\"x\":[" + times(kMostEntryValues, "0,") + "]"),
       "a-1.0.0: 250001 values are more than the limit of 250000."},
      {entry("\"references\":[" + times(kMostReferences, "\"\",") + "]"),
       entry("\"references\":[" + times(kMostReferences + 1, "\"\",") + "]"),
       "a-1.0.0: 10001 references are more than the limit of 10000."},
      {entry("\"conflicting_pkgs\":[" + times(kMostReferences, "\"\",") + "]"),
       entry("\"conflicting_pkgs\":[" + times(kMostReferences + 1, "\"\",") + "]"),
       "a-1.0.0: 10001 conflicting_pkgs are more than the limit of 10000."},
      {"{}", entry("\"x\":[" + times(kMostValues, "0,") + "]"),
       "10000003 values are more than the limit of 10000000."},
      {entry("\"x\":" + std::string(30, '[') + std::string(30, ']')),
       entry("\"x\":" + std::string(31, '[') + std::string(31, ']')),
       "not JSON: nested deeper than 32 at byte 46"}};
  for (const auto& row : rows) {
    list_of(row.allowed);
    EXPECT_EQ(failure_of(row.refused), row.cause);
  }
  const std::string longest(kLongestKey - std::string_view("-1.0.0").size(), 'k');
  EXPECT_EQ(list_of("{\"" + longest + "-1.0.0\":{}}").packages().size(), 1U);
  EXPECT_EQ(list_of("{\"k" + longest + "-1.0.0\":{}}").refused().size(), 1U);
}

TEST(PackageList, OnlyFullIdentitiesAreKeys) {
  for (const char* key : {"good-1.0.0", "a-b-1.0.0", "-a-1.0.0", "--1.0.0", "a-65536.0.0",
                          "a 1-1.0.0", "a-1.0.0rc1", "zendro_xmlschemas-1.0.0", "\xC3\xA9-1.0.0"}) {
    EXPECT_TRUE(is_version_key(key)) << key;
  }
  for (const std::string& key :
       {std::string(), std::string("good"), std::string("-1.0.0"), std::string("good-1"),
        std::string("good-1.0"), std::string("good-1.0."), std::string("good-1..0"),
        std::string("good-v1.0.0"), std::string("good-1.0.0-rc1"), std::string("good-65535.0.0"),
        std::string("good-1.0.65535"), std::string("_META2"), std::string("a.zendro_xmlschemas"),
        std::string("a-1.0.0.zendro_xmlschemas"), std::string("a-1.0.0.zendro_taxonomies"),
        std::string("a\0-1.0.0", 8), std::string(250, 'a') + "-1.0.0"}) {
    EXPECT_FALSE(is_version_key(key)) << key;
  }
  const std::string text =
      "{\n\"good\":{\"x\":1},\n\"a-1.0.0\":{},\n\"_DEPRECATED\":{\"b\":{}}\n}\n";
  const pkgs_available_t list = list_of(text);
  EXPECT_THAT(list.refused(), testing::ElementsAre("good", "b"));
  EXPECT_EQ(list.packages().size() + list.deprecated().size(), 1u);
  EXPECT_EQ(list.serialise(), text);
}

TEST(PackageList, WritesWhatItRead) {
  const std::string text =
      "{\n\"_META\":{\"build_number\":7,\"x\":[1,-2,18446744073709551615,2.5E-1,true,null]},\n"
      "\"b-1.0.0\":{\"z\":\"\\u0001\\\"caf\xC3\xA9\",\"a\":{}},\n"
      "\"a-2.0.0\":{},\n"
      "\"_DEPRECATED\":{\"a-1.0.0\":{}}\n}\n";
  EXPECT_EQ(list_of(text).serialise(), text);
  EXPECT_EQ(list_of("{}").serialise(), "{\n}\n");
}

TEST(PackageList, KeepsNumbers) {
  const std::string numbers =
      "[9223372036854775807,-9223372036854775808,18446744073709551615,0,-0E0,1.234567891234568E8,"
      "1E-1,5E-324,-1.7976931348623157E308,9.007199254740994E15,1.2345678901234568E29]";
  EXPECT_EQ(list_of("{\"_META\":{\"x\":" + numbers + "}}").serialise(),
            "{\n\"_META\":{\"x\":" + numbers + "}\n}\n");
  const pkgs_available_t read = list_of(
      R"({"_META":{"x":[123456789.123456789,-0,1e-400,-1e-400,123456789012345678901234567890,0.1]}})");
  EXPECT_EQ(
      read.serialise(),
      "{\n\"_META\":{\"x\":[1.2345678912345679E8,-0E0,0E0,-0E0,1.2345678901234568E29,1E-1]}\n}"
      "\n");

  std::mt19937_64 random(11);
  json::array values;
  while (values.size() < 2000) {
    const double value = std::bit_cast<double>(random());
    if (std::isfinite(value)) values.push_back(value);
  }
  const std::string text = json::serialize(json::object{{"_META", json::object{{"x", values}}}});
  const framework::ParsedJson back = framework::parse_json(text);
  ASSERT_TRUE(back) << back.error();
  EXPECT_EQ(back->at("_META").at("x").as_array(), values);
}

TEST(PackageList, AddsAtThePlaceOfTheIdentityAndRemoves) {
  pkgs_available_t list = list_of(R"({"_META":{"build_number":1},"b-1.0.0":{"v":1},"d-1.0.0":{}})");
  std::string written;
  {
    const pkgs_available_t source =
        list_of(R"({"a-1.0.0":{},"b-1.0.0":{"v":2},"b-2.0.0":{},"e-1.0.0":{}})");
    std::vector<const package_t*> added;
    for (const package_t& package : source.packages()) added.push_back(&package);
    list.add(added, source);
  }  // what was added outlives the list that it came from
  EXPECT_EQ(list.serialise(),
            "{\n\"_META\":{\"build_number\":1},\n\"a-1.0.0\":{},\n\"b-2.0.0\":{},\n"
            "\"b-1.0.0\":{\"v\":1},\n\"d-1.0.0\":{},\n\"e-1.0.0\":{}\n}\n");
  EXPECT_EQ(list.packages().size(), 5u);
  EXPECT_EQ(best(list, "b"), "b-2.0.0");

  const std::vector<name_semver_t> removed = {parse_identity("a-1.0.0"), parse_identity("b-1.0.0"),
                                              parse_identity("c-1.0.0")};
  list.remove(removed);
  EXPECT_EQ(list.serialise(),
            "{\n\"_META\":{\"build_number\":1},\n\"b-2.0.0\":{},\n\"d-1.0.0\":{},\n"
            "\"e-1.0.0\":{}\n}\n");
  EXPECT_EQ(find_exact(list.packages(), parse_identity("b-1.0.0")), nullptr);
}

TEST(PackageList, KeepsWhatHasVanishedUntilItIsBack) {
  pkgs_available_t list =
      list_of(R"({"_DEPRECATED":{"b-1.0.0":{},"c-1.0.0":{"_vanished":true}},"e-1.0.0":{}})");
  const auto all_of = [](const pkgs_available_t& source) {
    std::vector<const package_t*> all;
    for (const package_t& package : source.packages()) all.push_back(&package);
    return all;
  };
  const pkgs_available_t gone = list_of(R"({"a-1.0.0":{"v":1},"d-1.0.0":{}})");
  list.keep_vanished(all_of(gone));
  for (const char* identity : {"a-1.0.0", "b-1.0.0", "c-1.0.0", "d-1.0.0"}) {
    EXPECT_NE(list.find_entry(parse_identity(identity)), nullptr) << identity;
  }
  const pkgs_available_t back = list_of(R"({"a-1.0.0":{"v":2},"b-1.0.0":{}})");
  list.add(all_of(back), back);
  EXPECT_EQ(list.deprecated().size(), 3u);
  EXPECT_EQ(list.serialise(),
            "{\n\"_DEPRECATED\":{\"b-1.0.0\":{},\"c-1.0.0\":{\"_vanished\":true},"
            "\"d-1.0.0\":{\"_vanished\":true}},\n"
            "\"a-1.0.0\":{\"v\":2},\n\"b-1.0.0\":{},\n\"e-1.0.0\":{}\n}\n");
}

TEST(PackageList, FindsTheExactElseTheNewestMatching) {
  const pkgs_available_t list = list_of(R"({"mypkg-2.1.3":{},"mypkg-2.1.5":{},"mypkg-2.0.9":{},
    "mypkg-3.0.0":{},"mypkg-1.0.0":{},"mypkgs-9.0.0":{},
    "_DEPRECATED":{"mypkg-4.0.0":{}}})");
  EXPECT_EQ(best(list, "mypkg"), "mypkg-3.0.0");
  EXPECT_EQ(best(list, "mypkg-2"), "mypkg-2.1.5");
  EXPECT_EQ(best(list, "mypkg-2.0"), "mypkg-2.0.9");
  EXPECT_EQ(best(list, "mypkg-2.1.3"), "mypkg-2.1.3");
  EXPECT_EQ(best(list, "mypkg-2.1.4"), "");
  EXPECT_EQ(best(list, "mypkg-2.2"), "");
  EXPECT_EQ(best(list, "mypkg-4"), "");
  EXPECT_EQ(best(list, "mypk"), "");
}

TEST(PackageList, ReferencesAreFollowedOnceAndKeptAsWrittenWhereUnknown) {
  const pkgs_available_t list = list_of(R"({
    "a-1.0.0":{"references":["b-1","missing-2.1","b-1"]},
    "b-1.0.0":{"references":["c"]}, "b-1.5.0":{"references":["c-1"]}, "b-2.0.0":{},
    "c-1.0.0":{"references":["a-1.0.0"]}, "c-2.0.0":{}})");
  std::string text;
  for (const name_semver_t& identity : collect_references({parse_identity("a-1.0.0")}, list)) {
    text += to_string(identity) + " ";
  }
  EXPECT_EQ(text, "a-1.0.0 b-1.5.0 c-1.0.0 missing-2.1 ");
}

TEST(PackageList, ReferenceChainsOfAnyLengthNeedNoStack) {
  std::string text = "{";
  constexpr int count = 100'000;
  for (int i = 0; i < count; ++i) {
    text += "\"p" + std::to_string(i) + "-1.0.0\":{\"references\":[\"p" + std::to_string(i + 1) +
            "\"]},";
  }
  const pkgs_available_t list = list_of(text + "\"p100000-1.0.0\":{}}");
  EXPECT_EQ(collect_references({parse_identity("p0-1.0.0")}, list).size(),
            static_cast<std::size_t>(count));
}

TEST(PackageList, MergedViewKnowsWhatEachVersionIs) {
  const merged_view_t view(
      list_of(
          R"({"a-1.0.0":{"title":"store"},"a-2.0.0":{},"_DEPRECATED":{"a-0.1.0":{},"o-1.0.0":{}}})"),
      list_of(
          R"({"a-1.0.0":{"title":"disk"},"o-1.0.0":{},"z-1.0.0":{},"_DEPRECATED":{"z-0.1.0":{}}})"));
  std::string text;
  for (const version_view_t& row : view.versions) {
    text += to_string(row.identity) + (row.available ? "A" : "") + (row.installed ? "I" : "") +
            (row.deprecated ? "D" : "") + " ";
  }
  EXPECT_EQ(text, "a-2.0.0A a-1.0.0AI a-0.1.0D o-1.0.0ID z-1.0.0I z-0.1.0D ");
  EXPECT_EQ(view.versions[1].meta.title(), "disk");
}

TEST(Meta, PublisherIsNamedOrTheHostOfTheHomepage) {
  const auto publisher = [](const char* members) {
    const pkgs_available_t list = list_of("{\"a-1.0.0\":" + std::string(members) + "}");
    return std::string(list.packages().front().meta.publisher());
  };
  EXPECT_EQ(publisher(R"({"publisher":"W3C","homepage":"https://x.example/"})"), "W3C");
  EXPECT_EQ(publisher(R"({"homepage":"https://u:p@www.w3.example:8080/TR?x#y"})"),
            "www.w3.example");
  EXPECT_EQ(publisher(R"({"homepage":"http://[::1]:80/"})"), "[::1]");
  EXPECT_EQ(publisher(R"({"homepage":"no url"})"), "");
  EXPECT_THROW(publisher(R"({"publisher":7})"), framework::JsonError);
}

// Every entry of every map, or the failure.
std::string entries_of(const meta_t& meta, map_order order) {
  std::string all;
  const auto add = [&all](std::string_view key, std::string_view value) {
    all.append(key).append("=").append(value).append(";");
  };
  try {
    const meta_maps_t maps(meta, order);
    maps.for_each_file(add);
    maps.for_each_location(add);
    maps.for_each_namespace([&](std::string_view key, const namespace_entry_t& entry) {
      add(key, std::string(entry.member_path) + (entry.is_public ? "!" : ""));
    });
    maps.for_each_mapping(add);
  } catch (const framework::JsonError& error) {
    all += error.what();
  }
  return all;
}

TEST(Meta, MapsAreTheSameWhetherParsedOrNot) {
  for (const auto& [map, expected] : std::vector<std::pair<std::string, std::string>>{
           {R"({})", ""},
           {R"({"files":{"b":"1","a":"2"},"uri_mappings":{"p":"q"}})", "b=1;a=2;p=q;"},
           {R"({"catalogs":{"a":"1"},"\u0063atalogs":{"a":"2"}})", "a=2;"},
           {R"({"catalogs":{"a":"1"},"catalogs":{"b":"2"}})", "b=2;"},
           {R"({"catalogs":{"b":"1","a":"2","b":"3"}})", "b=3;a=2;"},
           {R"({"catalogs":{"\u0061":"\\","b":1,"b":"2"}})", "a=\\;b=2;"},
           {R"({"namespace_catalog":{"b":"1","a":{"path":"2","public":true}}})", "b=1;a=2!;"},
           {R"({"files":{"a":"1"},"catalogs":[]})", "a=1;Cannot cast value to JSON map!"},
           {R"({"catalogs":{"a":1}})", "Cannot cast value to JSON string!"}}) {
    const pkgs_available_t list = list_of("{\"a-1.0.0\":" + map + "}");
    const meta_t& meta = list.packages().front().meta;
    EXPECT_EQ(entries_of(meta, map_order::of_list), expected) << map;
    (void)meta.map().values();
    EXPECT_EQ(entries_of(meta, map_order::of_list), expected) << map;
  }
  const pkgs_available_t list = list_of(R"({"a-1.0.0":{"files":{"b":"1","a":"2"}}})");
  EXPECT_EQ(entries_of(list.packages().front().meta, map_order::any), "a=2;b=1;");
}

TEST(IdentityIndex, AgreesWithLookingAtEveryIdentity) {
  std::mt19937 random(7);
  std::vector<name_semver_t> identities;
  const auto add = [&](const std::string& name) {
    const auto part = [&] { return static_cast<std::uint16_t>(random() % 3); };
    identities.push_back({name, {part(), part(), part()}});
  };
  for (const std::string& name : {std::string(), std::string("A"), std::string(400, 'a') + "B"}) {
    add(name);
  }
  for (int i = 0; i < 300; ++i) {
    std::string name;
    for (unsigned length = random() % 6; length > 0; --length) name += "abAB-"[random() % 5];
    add(name);
  }
  std::vector<std::string> keys = {"", "-1", "ab", "AABB-2", "zz", "aaaaaaaaaaab", "a-1.0.2"};
  for (const name_semver_t& identity : identities) keys.push_back(identity.name + "-1.2");
  identity_index index(identities);
  identity_index taking(identities);
  std::vector<bool> is_taken(identities.size());
  for (const std::string& text : keys) {
    const name_semver_t key = parse_identity(text);
    std::vector<std::size_t> expected;
    bool is_there = false;
    for (std::size_t i = 0; i < identities.size(); ++i) {
      if (framework::ascii_lower(identities[i].name).find(framework::ascii_lower(key.name)) ==
              std::string::npos ||
          !matches(key.version, identities[i].version)) {
        continue;
      }
      is_there = true;
      if (!is_taken[i]) expected.push_back(i);
      is_taken[i] = true;
    }
    EXPECT_EQ(taking.take(key), expected) << text;
    EXPECT_EQ(index.find_any(key).has_value(), is_there) << text;
  }
}

TEST(ReferrerIndex, AgreesWithLookingAtEveryReference) {
  std::mt19937 random(3);
  const auto identity = [&](unsigned most) {
    std::string name;
    for (unsigned length = 1 + random() % most; length > 0; --length) name += "abB"[random() % 3];
    return name;
  };
  const auto version = [&](std::size_t parts) {
    std::string text;
    for (; parts > 0; --parts) text += (text.empty() ? "-" : ".") + std::to_string(random() % 2);
    return text;
  };
  json::object document;
  for (int i = 0; i < 200; ++i) {
    json::array references;
    for (int j = 0; j < 3; ++j) references.emplace_back(identity(4) + version(random() % 4));
    document[identity(6) + version(3)] = {{"references", references}};
  }
  const pkgs_available_t list = list_of(json::serialize(document));
  const metadata_texts texts(pass_over_metadata);
  const referrer_index index(list.packages(), texts);
  for (const package_t& package : list.packages()) {
    std::set<list_position> expected;
    std::set<list_position> found;
    for (const package_t& other : list.packages()) {
      for (const std::string_view text : texts.references(other)) {
        const name_semver_t key = parse_identity(text);
        const std::string name = framework::ascii_lower(package.identity.name);
        const bool is_one = name.find(framework::ascii_lower(key.name)) != std::string::npos &&
                            matches(key.version, package.identity.version);
        if (is_one) expected.insert(position_of(list.packages(), other));
      }
    }
    for (const std::size_t text : index.texts_for(package.identity)) {
      const std::vector<list_position> packages = index.packages_with(text);
      found.insert(packages.begin(), packages.end());
    }
    EXPECT_EQ(found, expected) << package.key;
  }
}

// The time for four times as much tells n log n from n squared.
TEST(IdentityIndex, ChosenNamesAreSearchedInNLogN) {
  const auto seconds = [](int count) {
    std::string list = "{";
    std::vector<list_position> all;
    for (int i = 0; i < count; ++i) {
      all.push_back(static_cast<list_position>(i));
      list += "\"" + std::string(200, 'a') + std::to_string(i) +
              R"(-1.0.0":{"references":["a","aa"],"conflicting_pkgs":["a-2",")" +
              std::string(200, 'a') + "b" + std::to_string(i) + "\"]},";
    }
    list.back() = '}';
    const pkgs_available_t packages = list_of(list);
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
      const tests::Stopwatch stopwatch;
      const planner plans(packages, packages, {});
      EXPECT_THAT(plans.plan({{}, all}).conflicts, testing::IsEmpty());
      EXPECT_THAT(plans.plan({all, {}}).kept, testing::IsEmpty());
      best = std::min(best, stopwatch.seconds());
    }
    return best;
  };
  const double few = seconds(250);
  EXPECT_LT(seconds(1000), 10 * few);
}

}  // namespace
}  // namespace zendro::pkg
