#include "framework/text/lazy_json.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "framework/text/plain_strings.h"

namespace zendro::framework {
namespace {

std::shared_ptr<LazyDocument> document_of(std::string text, std::size_t most_members = 0) {
  auto document = LazyDocument::parse(std::move(text), most_members);
  EXPECT_TRUE(document) << document.error();
  return *document;
}

json::value parsed(std::string_view text) {
  const ParsedJson value = parse_json(text);
  EXPECT_TRUE(value) << text << ": " << value.error();
  return *value;
}

// Texts of random objects with everything that the finding of members could stumble over.
class RandomText {
 public:
  explicit RandomText(unsigned seed) : random_(seed) {}

  std::string object(int depth) {
    std::string text = "{" + blanks();
    for (unsigned left = random_() % 5; left > 0; --left) {
      text += string() + blanks() + ":" + blanks() + value(depth) + blanks();
      if (left > 1) text += "," + blanks();
    }
    return text + "}";
  }
  std::string blanks() { return one_of({"", "", "", " ", "\n", "\r\n\t"}); }

 private:
  std::string one_of(const std::vector<std::string>& texts) {
    return texts[random_() % texts.size()];
  }
  std::string string() {
    std::string text = "\"";
    for (unsigned left = random_() % 4; left > 0; --left) {
      text += one_of({"a", "b", "{", "}", "[", "]", ",", ":", " ", "\\\\", "\\\"", "\\u0061", "\\n",
                      "\xC3\xA9"});
    }
    return text + "\"";
  }
  std::string value(int depth) {
    switch (random_() % (depth > 0 ? 4 : 2)) {
      case 0:
        return string();
      case 1:
        return one_of({"0", "-1.5e3", "true", "null", "[]", "{}", "[ ]"});
      case 2:
        return "[" + blanks() + value(depth - 1) + "," + value(depth - 1) + blanks() + "]";
      default:
        return object(depth - 1);
    }
  }

  std::mt19937 random_;
};

TEST(LazyJson, MembersAreThoseOfTheParsedDocument) {
  RandomText random(3);
  int repeated = 0;
  int read_as_it_stands = 0;
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = random.blanks() + random.object(3) + random.blanks();
    const json::value value = parsed(text);
    const json::object& whole = value.get_object();
    const auto document = document_of(text);
    const auto members = document->members(document->root());
    ASSERT_EQ(members.size(), whole.size()) << text;
    const auto found_while_checking = document_of(text, 4);
    ASSERT_EQ(found_while_checking->members(found_while_checking->root()), members) << text;
    const LazyObject& object = document->object(document->root());
    auto expected = whole.begin();
    for (const auto& [name, member, inside] : members) {
      ASSERT_EQ(name, std::string_view(expected->key())) << text;
      ASSERT_EQ(parsed(member), expected->value()) << text;
      if (const json::string* string = expected->value().if_string()) {
        // First from the text, which may parse the object, then from its values.
        ASSERT_EQ(object.string(name), std::string_view(*string)) << text;
      } else {
        ASSERT_THROW((void)object.string(name), JsonError) << text;
      }
      ++expected;
    }
    ASSERT_EQ(object.string("no such name"), "");
    if (const auto plain = object.plain_members()) {
      json::object last;
      for (const auto& [name, member, inside] : *plain) last[name] = parsed(member);
      ASSERT_EQ(last, whole) << text;
      ++read_as_it_stands;
    }
    ASSERT_EQ(object.values(), whole);
    ASSERT_FALSE(object.plain_members()) << "the values are at hand";
    std::string written;
    JsonWriter writer(written);
    append_object(writer, document->root());
    ASSERT_EQ(written, json::serialize(value));
    repeated += text.find("\"a\"") != text.rfind("\"a\"");
  }
  EXPECT_GT(repeated, 100);
  EXPECT_GT(read_as_it_stands, 1'000);
}

TEST(PlainStrings, AreThoseOfTheParsedObjectOrNone) {
  RandomText random(5);
  int found = 0;
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = random.object(0);
    const json::value value = parsed(text);
    const json::object& whole = value.get_object();
    const bool is_repeated = check_json(text)->values != whole.size() + 1;
    const bool are_strings = std::all_of(whole.begin(), whole.end(),
                                         [](const auto& it) { return it.value().is_string(); });
    const bool is_decoded = text.find('\\') != std::string::npos;
    const auto plain = plain_strings(text);
    ASSERT_EQ(plain.has_value(), are_strings && !is_repeated && !is_decoded) << text;
    if (!plain) continue;
    ++found;
    json::object members;
    for (const auto& [name, string] : plain->members) members[name] = string;
    ASSERT_EQ(json::serialize(members), json::serialize(value)) << "the order too";
  }
  EXPECT_GT(found, 1'000);
  EXPECT_FALSE(plain_strings("[]"));
}

TEST(PlainStrings, AreSortedByTheBytesOfTheirNames) {
  std::mt19937 random(6);
  for (int round = 0; round < 200; ++round) {
    // They differ early, late or only in length.
    json::object object;
    std::set<std::string> names;
    for (unsigned left = random() % 50; left > 0; --left) {
      std::string name = "http://a.example/";
      for (unsigned letters = random() % 12; letters > 0; --letters) {
        name += random() % 4 == 0 ? "\xC3\xA9" : "a";
      }
      names.insert(name);
      object[name] = "";
    }
    std::vector<std::string> sorted;
    const std::string text = json::serialize(object);
    const auto plain = plain_strings(text);
    ASSERT_TRUE(plain);
    for (const std::size_t index : plain->by_name) {
      sorted.emplace_back(plain->members[index].name);
    }
    ASSERT_EQ(sorted, std::vector<std::string>(names.begin(), names.end()));
  }
}

TEST(LazyJson, OfSeveralMembersWithOneNameTheLastValueCounts) {
  const auto document = document_of(R"({"a":1,"b":{"t":"x","t":"y"},"\u0061":"2"})");
  const auto members = document->members(document->root());
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[0].name, "a");
  EXPECT_EQ(members[0].text, "\"2\"");
  const LazyObject& object = document->object(members[1].text);
  EXPECT_EQ(object.string("t"), "y");
  EXPECT_THROW((void)document->members(members[0].text), JsonError);
  EXPECT_THROW((void)document->object(members[0].text), JsonError);
}

// Names that stand in one place of a table of each of these sizes, if the table's address is known.
std::string crowded_object(const void* table, std::size_t count, std::size_t sizes_product) {
  std::string text = "{";
  for (std::size_t i = 0; count > 0; ++i) {
    const std::string name = std::to_string(i);
    const auto salt = reinterpret_cast<std::uintptr_t>(table);
    if (json::detail::digest(name.begin(), name.end(), salt) % sizes_product != 0) continue;
    text += "\"" + name + "\":1,";
    --count;
  }
  text.back() = '}';
  return text;
}

TEST(LazyJson, NamesThatWereChosenToShareAPlaceAreSpreadOrRefused) {
  constexpr std::size_t count = 40;
  alignas(std::max_align_t) static unsigned char bytes[65536];
  // The room for members of the object, or why it is refused.
  const auto parse = [](const std::string& text) {
    json::monotonic_resource arena(bytes, sizeof(bytes));
    EXPECT_EQ(check_json(text)->values, count + 1);
    return parse_json(text, &arena).map([](const json::value& value) {
      return value.get_object().capacity();
    });
  };
  ASSERT_EQ(parse(crowded_object(bytes, count, 1)), count);
  const auto larger = parse(crowded_object(bytes, count, count));
  ASSERT_TRUE(larger) << larger.error();
  EXPECT_GT(*larger, count);
  const auto refused = parse(crowded_object(bytes, count, count * *larger));
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error(), "too many names of an object have the same hash");
}

TEST(LazyJson, CountsValuesAndMembers) {
  for (const auto& [value, inside] :
       std::vector<std::pair<std::string, std::size_t>>{{"1", 0},
                                                        {"[ ]", 0},
                                                        {"{\n}", 0},
                                                        {"\"a,[{\"", 0},
                                                        {"[1]", 1},
                                                        {"[[], {} ,\"]\"]", 3},
                                                        {R"({"a":[1,2],"b":{"c":3},"b":4})", 6}}) {
    for (const std::size_t found_while_checking : {0, 2, 3}) {
      std::size_t count = 0;
      const auto document =
          document_of("{\"a\":0,\"b\": " + value + " ,\"a\":1}", found_while_checking);
      EXPECT_EQ(document->value_count(), 4 + inside) << value;
      const auto members = document->all_members(document->root(), 2, count);
      ASSERT_EQ(members.size(), 2u);
      EXPECT_EQ(count, 3u);
      EXPECT_EQ(members[0].text, "0") << "what is too much is not looked at";
      EXPECT_EQ(members[1].values, inside) << value;
    }
  }
}

TEST(LazyJson, AcceptsExactlyWhatCanBeParsed) {
  for (const char* text : {"",
                           " ",
                           "{",
                           "{}x",
                           "{} {}",
                           "[1,]",
                           "{\"a\":1e400}",
                           "{\"a\":-1e400}",
                           "{\"a\":1e-400}",
                           "\"\xFF\"",
                           "\"\\ud800\"",
                           "\"\\q\"",
                           "01",
                           "nul",
                           "{\"a\":1,}",
                           "{a:1}",
                           "[1] ",
                           "\t{}\n",
                           "-0",
                           "1.5"}) {
    const ParsedJson value = parse_json(text);
    const auto document = LazyDocument::parse(text);
    EXPECT_EQ(document.has_value(), value.has_value()) << text;
    EXPECT_EQ(document ? "" : document.error(), value ? "" : value.error()) << text;
  }
}

// A long text is cut into halves, wherever a line ends in its middle.
TEST(LazyJson, LongTextsAreCheckedLikeShortOnes) {
  constexpr std::size_t kLines = 30'000;
  const auto lines = [](std::string_view first, std::string_view middle, std::string_view last) {
    std::string text(first);
    for (std::size_t i = 0; i < kLines; ++i) {
      if (i == kLines / 2) text += middle;
      text += ",\n\"" + std::to_string(i) + R"(":{"a":["text, [\"and\"] more",1.5,{}]})";
    }
    return text.append(last);
  };
  for (const auto& [first, middle, last] : std::vector<std::array<std::string_view, 3>>{
           {"{\"first\":0", "", "\n}\n"},
           {" \n{\"first\":{}", "", "}"},
           {"{\"first\":0", ",\"0\":[]", ",\"1\":2}"},
           {"{\"f\\u0069rst\":0", "", "}"},
           {"{\"first\":0", "", ",\"\\n\":0}"},
           {"{\"first\":{\"inner\":0", "", "}}"},  // cut inside of a member
           {"[{\"first\":0", "", "}]"},
           {"{\"first\":{\"inner\":0", "}", "}"},
           {"{\"first\":0", "}", "}"},  // and what is no document
           {"{\"first\":00", "", "}"},
           {"{\"first\":0", "", "]"},
           {"{\"first\":0", "", "} x"},
           {"{\"first\":0", "", ""},
           {"\"first\":0", "", ""},
           {"{\"first\":0", ",", "}"}}) {
    const std::string text = lines(first, middle, last);
    const ParsedJson value = parse_json(text);
    const auto found = LazyDocument::parse(text, 2 * kLines);
    ASSERT_EQ(found ? "" : found.error(), value ? "" : value.error()) << first << middle << last;
    if (!value || !value->is_object()) continue;
    std::size_t count = 0;
    const auto document = document_of(text);
    const auto members = document->all_members(document->root(), text.size(), count);
    EXPECT_TRUE((*found)->all_members((*found)->root(), text.size(), count) == members) << first;
    std::size_t values = 1;
    for (const auto& member : members) values += 1 + member.values;
    EXPECT_EQ((*found)->value_count(), values) << first;
    EXPECT_TRUE(check_json(text, count - 1)->members.empty()) << first;
  }
}

TEST(LazyJson, ObjectsAreReadByManyThreads) {
  std::string text = "{\"first\":{}";
  constexpr int kObjects = 2'000;
  for (int i = 0; i < kObjects; ++i) {
    text += ",\"" + std::to_string(i) + "\":{\"n\":" + std::to_string(i) + "}";
  }
  const auto document = document_of(text + "}");
  std::vector<const LazyObject*> objects;
  for (const auto& member : document->members(document->root())) {
    objects.push_back(&document->object(member.text));
  }
  std::vector<std::int64_t> sums(3);
  std::vector<std::thread> threads;
  for (std::int64_t& sum : sums) {
    threads.emplace_back([&] {
      for (const LazyObject* object : objects) {
        if (const json::value* number = object->values().if_contains("n")) {
          sum += number->get_int64();
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sums, std::vector<std::int64_t>(3, kObjects * (kObjects - 1) / 2));
}

}  // namespace
}  // namespace zendro::framework
