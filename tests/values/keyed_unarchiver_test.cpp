#include "value_helpers.h"

#include <QVSharedSupport/keyed_archiver.h>
#include <QVSharedSupport/keyed_unarchiver.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

using QV::detail::extract_uid;
using QV::detail::keyed_archiver_uid;
using test::number;
using test::parsed;
using test::text;
using namespace QV::archiver_exceptions;

namespace {

/// A reference as it is before it has been through the parser.
CF::Dictionary ref(int uid) {
    return CF::Dictionary::of({{"CF$UID", CF::Number(uid)}});
}
/// The same as the parser makes it.
CF::AutoPointer parsed_ref(int uid) {
    return parsed(test::xml(ref(uid)));
}
CF::Dictionary class_named(std::string_view name) {
    return CF::Dictionary::of({{"$classname", text(name)}, {"$classes", CF::Array::of(text(name))}});
}
CF::Dictionary array_of(int type, const CF::Array& references) {
    return CF::Dictionary::of({{"$class", ref(type)}, {"NS.objects", references}});
}
/// An archive whose root is object 1.
CF::Dictionary archive_of(const CF::Array& objects) {
    return CF::Dictionary::of({{"$objects", objects}, {"$top", CF::Dictionary::of({{"root", ref(1)}})}});
}
template <class... Objects>
CF::Dictionary archive(const Objects&... objects) {
    return archive_of(CF::Array::of(text("$null"), objects...));
}

struct failure {
    std::string what;
    std::string key_path;

    friend bool operator==(const failure&, const failure&) = default;
    friend void PrintTo(const failure& shown, std::ostream* stream) {
        *stream << shown.what << " at " << shown.key_path;
    }
};

template <class Function>
failure failure_of(Function function) {
    try {
        function();
    } catch (const archive_error& error) {
        return {error.what(), error.key_path()};
    }
    return {"nothing thrown", ""};
}
failure unarchive_failure(const CF::Dictionary& archive) {
    return failure_of([&] { QV::unarchive(archive); });
}

const std::string cycle = "A cycle was detected when decoding the archive";

TEST(ArchiverExceptions, HaveTheirTexts) {
    EXPECT_STREQ(missing_uid({7}).what(), "uid 7 was missing or null");
    EXPECT_STREQ(missing_uid({4294967295U}).what(), "uid 4294967295 was missing or null");
    EXPECT_STREQ(cant_decode_as_value("NSFont").what(), "Cant decode type 'NSFont' as a value");
    EXPECT_STREQ(decode_cycle().what(), "A cycle was detected when decoding the archive");
    EXPECT_EQ(decode_cycle("root[1]").key_path(), "root[1]");
}

TEST(ExtractUid, ReadsReferencesAsParsed) {
    for (const int uid : {0, 1, 300, 70'000, std::numeric_limits<int>::max()})
        EXPECT_EQ(extract_uid(parsed_ref(uid)), keyed_archiver_uid{static_cast<std::uint32_t>(uid)});
    EXPECT_EQ(extract_uid(parsed_ref(-1)), keyed_archiver_uid{4294967295U});
}

TEST(ExtractUid, ReadsReferencesAsDictionaries) {
    EXPECT_EQ(extract_uid(ref(5)), keyed_archiver_uid{5});
}

TEST(ExtractUid, FindsNoneInAnythingElse) {
    for (const CF::AutoPointer& object :
         {CF::AutoPointer(), CF::AutoPointer(text("CF$UID")), CF::AutoPointer(number(1)),
          CF::AutoPointer(CF::Boolean(true)), CF::AutoPointer(CF::Date(0.0)), test::null_object(),
          test::url(), CF::AutoPointer(CF::Array::of(ref(1))), CF::AutoPointer(CF::Dictionary::of({})),
          CF::AutoPointer(CF::Dictionary::of({{"k", number(1)}})),
          CF::AutoPointer(CF::Dictionary::of({{"DF$UID", number(1)}})),
          CF::AutoPointer(CF::Dictionary::of({{"CF$UID", text("1")}})),
          CF::AutoPointer(CF::Dictionary::of({{"CF$UID", number(1)}, {"k", number(1)}}))})
        EXPECT_FALSE(extract_uid(object)) << object.description();
}

TEST(GetRaw, OfUid0IsEmptyWhateverTheTableHolds) {
    EXPECT_FALSE(QV::keyed_unarchiver(CF::Array()).get_raw({0}));
    EXPECT_FALSE(QV::keyed_unarchiver(CF::Array::of(text("x"))).get_raw({0}));
}

TEST(GetRaw, GivesTheEntryOrSaysThatThereIsNone) {
    const CF::Array objects = CF::Array::of(text("$null"), text("one"), test::null_object());
    QV::keyed_unarchiver unarchiver(objects);
    EXPECT_EQ(unarchiver.get_raw({1}), text("one"));
    EXPECT_EQ(failure_of([&] { (void)unarchiver.get_raw({2}); }), (failure{"uid 2 was missing or null", ""}));
    EXPECT_EQ(failure_of([&] { (void)unarchiver.get_raw({3}); }), (failure{"uid 3 was missing or null", ""}));
    EXPECT_THROW((void)unarchiver.get_raw({4294967295U}), missing_uid);
    EXPECT_THROW((void)QV::keyed_unarchiver(CF::Array()).get_raw({1}), missing_uid);
}

TEST(GetRaw, WithoutAnObjectIsTheTopIfThereIsOne) {
    EXPECT_FALSE(QV::keyed_unarchiver(CF::Array::of(text("$null"))).get_raw());
    const CF::Dictionary whole = archive(text("t"));
    EXPECT_EQ(QV::keyed_unarchiver::open(whole).get_raw(), whole["$top"]);
    EXPECT_FALSE(QV::keyed_unarchiver(CF::Array()).get_class());
}

/// Looks about in the object that is being decoded.
struct looked_at {
    CF::AutoPointer raw;
    std::optional<std::string> type;
    std::optional<int> count;
};
std::optional<looked_at> decode(looked_at*, QV::keyed_unarchiver& unarchiver) {
    return looked_at{unarchiver.get_raw(), unarchiver.get_class(), unarchiver.decode<int>("count")};
}

TEST(CustomType, SeesTheCurrentObject) {
    const CF::Dictionary object = CF::Dictionary::of({{"$class", ref(2)}, {"count", ref(3)}});
    auto unarchiver = QV::keyed_unarchiver::open(archive(object, class_named("Counter"), number(42)));
    const std::optional<looked_at> seen = unarchiver.decode<looked_at>("root");
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->raw, object);
    EXPECT_EQ(seen->type, "Counter");
    EXPECT_EQ(seen->count, 42);
    EXPECT_EQ(unarchiver.get_raw(), CF::Dictionary::of({{"root", ref(1)}})) << "back at the top";
}

TEST(GetClass, IsNothingWithoutAUsableDescription) {
    for (const CF::Dictionary& object :
         {CF::Dictionary::of({{"count", number(1)}}), CF::Dictionary::of({{"$class", text("inline")}}),
          CF::Dictionary::of({{"$class", ref(2)}}), CF::Dictionary::of({{"$class", ref(3)}}),
          CF::Dictionary::of({{"$class", ref(0)}})}) {
        auto unarchiver = QV::keyed_unarchiver::open(
            archive(object, text("no dictionary"), CF::Dictionary::of({{"$classname", number(1)}})));
        EXPECT_EQ(unarchiver.decode<looked_at>("root")->type, std::nullopt) << object.description();
    }
    auto unarchiver = QV::keyed_unarchiver::open(archive(CF::Dictionary::of({{"$class", ref(9)}})));
    EXPECT_EQ(failure_of([&] { unarchiver.decode<looked_at>("root"); }),
              (failure{"uid 9 was missing or null", "root"}));
}

TEST(ArchivedClass, IsDecodedFromItsDescription) {
    auto unarchiver = QV::keyed_unarchiver::open(archive(class_named("NSFont"), text("none")));
    const auto type = unarchiver.decode<QV::detail::archived_class>("root");
    ASSERT_TRUE(type);
    EXPECT_EQ(type->name, "NSFont");
    EXPECT_TRUE(type->classes.empty());
    EXPECT_FALSE(unarchiver.decode<QV::detail::archived_class>(keyed_archiver_uid{2}));
}

TEST(Unarchive, RefusesWhatIsNoArchive) {
    for (const CF::Dictionary& dictionary :
         {CF::Dictionary(), CF::Dictionary::of({}), CF::Dictionary::of({{"$objects", CF::Array::of()}}),
          CF::Dictionary::of({{"$objects", text("x")}, {"$top", CF::Dictionary::of({})}}),
          CF::Dictionary::of({{"$objects", CF::Array::of()}, {"$top", CF::Array::of()}})}) {
        try {
            QV::unarchive(dictionary);
            ADD_FAILURE() << dictionary.description();
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "The dictionary is not a keyed archive");
        }
    }
}

TEST(Unarchive, AnEmptyArchiveHasNoValues) {
    EXPECT_EQ(QV::unarchive(QV::keyed_archiver().finishEncoding()), CF::Dictionary::of({}));
}

TEST(Unarchive, GivesAllKeysOfTheTopInlineValuesToo) {
    const CF::Dictionary whole = CF::Dictionary::of(
        {{"$objects", CF::Array::of(text("$null"), text("one"))},
         {"$top", CF::Dictionary::of({{"a", ref(1)}, {"b", number(5)}, {"nothing", ref(0)}})}});
    EXPECT_EQ(QV::unarchive(whole),
              CF::Dictionary::of({{"a", text("one")}, {"b", number(5)}, {"nothing", test::null_object()}}));
}

TEST(Unarchive, BothKindsOfStringsAreStrings) {
    for (const char* type : {"NSString", "NSMutableString"})
        EXPECT_EQ(QV::unarchive(archive(array_of(2, CF::Array::of(ref(3), ref(4))), class_named("NSArray"),
                                        text("same"),
                                        CF::Dictionary::of({{"$class", ref(5)}, {"NS.string", text("same")}}),
                                        class_named(type)))["root"],
                  CF::Array::of(text("same"), text("same")));
}

TEST(Unarchive, KnowsTheClassesOfPlainValues) {
    const auto value_of = [](const char* type, const char* key, const CF::Type& value) {
        return QV::unarchive(
            archive(CF::Dictionary::of({{"$class", ref(2)}, {key, value}}), class_named(type)))["root"];
    };
    EXPECT_EQ(value_of("NSData", "NS.data", CF::Data(std::span<const std::byte>())),
              CF::Data(std::span<const std::byte>()));
    EXPECT_EQ(value_of("NSNumber", "NS.intval", number(5)), number(5));
    EXPECT_EQ(value_of("NSNumber", "NS.dblval", CF::Number(0.5)), CF::Number(0.5));
    EXPECT_EQ(value_of("NSNumber", "NS.boolval", CF::Boolean(true)), CF::Boolean(true));
    EXPECT_EQ(value_of("NSDate", "NS.time", CF::Number(1.5)), CF::Date(1.5));
    EXPECT_EQ(value_of("NSNull", "whatever", number(1)), test::null_object());
    EXPECT_EQ(value_of("NSMutableSet", "NS.objects", CF::Array::of(number(1))), CF::Array::of(number(1)));
    EXPECT_EQ(value_of("NSOrderedSet", "NS.object.0", number(1)), CF::Array::of(number(1)));
}

TEST(Unarchive, NullsWithinContainersAreNullObjects) {
    EXPECT_EQ(
        QV::unarchive(archive(array_of(2, CF::Array::of(ref(0), number(1))), class_named("NSArray")))["root"],
        CF::Array::of(test::null_object(), number(1)));
}

TEST(Unarchive, AnObjectMetTwiceIsDecodedOnceAndIsNoCycle) {
    const CF::Dictionary whole = archive(array_of(2, CF::Array::of(ref(3), ref(3))), class_named("NSArray"),
                                         array_of(2, CF::Array::of(text("leaf"))));
    const CF::Array root(QV::unarchive(whole)["root"]);
    EXPECT_EQ(root, CF::Array::of(CF::Array::of(text("leaf")), CF::Array::of(text("leaf"))));
    EXPECT_EQ(root[0].get(), root[1].get());
}

TEST(Unarchive, ObjectsThatStandForMoreThanAnyMemoryHoldsAreShared) {
    std::vector<CF::AutoPointer> objects = {text("$null")};
    constexpr int levels = 100;
    for (int level = 1; level <= levels; ++level)
        objects.push_back(array_of(levels + 2, CF::Array::of(ref(level + 1), ref(level + 1))));
    objects.push_back(text("core"));
    objects.push_back(class_named("NSArray"));
    EXPECT_EQ(test::depth(QV::unarchive(archive_of(CF::Array::from(objects)))["root"]), 100U);
}

/// The last of `levels` arrays, each of which holds the one before it twice and the first `core`.
int add_doubling_arrays(std::vector<CF::AutoPointer>& objects, int levels, int core) {
    for (int level = 0; level < levels; ++level) {
        objects.push_back(array_of(3, CF::Array::of(ref(core), ref(core))));
        core = static_cast<int>(objects.size()) - 1;
    }
    return core;
}
/// The beginning of a table whose object 1 is a dictionary with these keys, and 3 the class of arrays.
std::vector<CF::AutoPointer> table_of_dictionary(const std::vector<CF::Dictionary>& keys) {
    const std::vector<CF::Boolean> values(keys.size(), CF::Boolean(true));
    return {text("$null"),
            CF::Dictionary::of({{"$class", ref(2)},
                                {"NS.keys", CF::Array::from(keys)},
                                {"NS.objects", CF::Array::from(values)}}),
            class_named("NSDictionary"), class_named("NSArray"), text("core")};
}
const failure refused_root = {"Cant decode type 'NSDictionary' as a value", "root"};

TEST(Unarchive, ContainersMayBeKeys) {
    std::vector<CF::AutoPointer> objects = table_of_dictionary({ref(5), ref(7)});
    EXPECT_EQ(add_doubling_arrays(objects, 2, 4), 6);
    EXPECT_EQ(add_doubling_arrays(objects, 3, 4), 9);
    const CF::Dictionary root(QV::unarchive(archive_of(CF::Array::from(objects)))["root"]);
    const CF::Array key = CF::Array::of(text("core"), text("core"));
    EXPECT_EQ(root.size(), 1U); // they are equal
    EXPECT_EQ(CF::AutoPointer(CFDictionaryGetValue(root.get(), key.get())), CF::Boolean(true));
}

// Sixty levels stand for 2 to the power of 60 values, all of which equal keys would be compared for.
TEST(Unarchive, KeysThatTakeForEverToCompareAreRefused) {
    std::vector<CF::AutoPointer> objects = table_of_dictionary({ref(64), ref(124)});
    ASSERT_EQ(add_doubling_arrays(objects, 60, 4), 64);
    ASSERT_EQ(add_doubling_arrays(objects, 60, 4), 124);
    EXPECT_EQ(unarchive_failure(archive_of(CF::Array::from(objects))), refused_root);
}

// They have the same hash, so that each would be compared with all before it.
TEST(Unarchive, VeryManyContainersAsKeysAreRefused) {
    constexpr int count = 20'000;
    std::vector<CF::Dictionary> keys;
    std::vector<CF::AutoPointer> arrays;
    for (int i = 0; i < count; ++i) {
        keys.push_back(ref(5 + i));
        arrays.emplace_back(array_of(3, CF::Array::of(number(i))));
    }
    std::vector<CF::AutoPointer> objects = table_of_dictionary(keys);
    objects.insert(objects.end(), arrays.begin(), arrays.end());
    EXPECT_EQ(unarchive_failure(archive_of(CF::Array::from(objects))), refused_root);
}

TEST(Unarchive, CyclesAreRefusedWithTheirPlace) {
    EXPECT_EQ(unarchive_failure(archive(array_of(2, CF::Array::of(ref(1))), class_named("NSArray"))),
              (failure{cycle, "root[0]"}));
    const CF::Dictionary through_others =
        archive(array_of(2, CF::Array::of(text("first"), ref(3))), class_named("NSArray"),
                CF::Dictionary::of({{"$class", ref(4)},
                                    {"NS.keys", CF::Array::of(text("back"))},
                                    {"NS.objects", CF::Array::of(ref(1))}}),
                class_named("NSDictionary"));
    EXPECT_EQ(unarchive_failure(through_others), (failure{cycle, "root[1].back"}));
    EXPECT_THROW(QV::unarchive(through_others), decode_cycle);
}

TEST(Unarchive, ACycleOfContainersWithoutReferencesIsRefused) {
    CF::MutableArray endless = CF::MutableArray::create();
    endless.append(endless);
    const CF::Dictionary whole = CF::Dictionary::of(
        {{"$objects", CF::Array::of(text("$null"))}, {"$top", CF::Dictionary::of({{"root", endless}})}});
    EXPECT_EQ(unarchive_failure(whole), (failure{cycle, "root[0]"}));
    endless.clear();
}

TEST(Unarchive, WhatIsMissingIsNamedWithItsPlace) {
    EXPECT_EQ(unarchive_failure(archive(array_of(2, CF::Array::of(ref(9))), class_named("NSArray"))),
              (failure{"uid 9 was missing or null", "root[0]"}));
    EXPECT_EQ(unarchive_failure(CF::Dictionary::of(
                  {{"$objects", CF::Array::of()}, {"$top", CF::Dictionary::of({{"State", ref(1)}})}})),
              (failure{"uid 1 was missing or null", "State"}));
}

TEST(Unarchive, UnknownClassesAreNamedOrKept) {
    const CF::Dictionary whole =
        archive(array_of(2, CF::Array::of(ref(3))), class_named("NSArray"),
                CF::Dictionary::of({{"$class", ref(4)}, {"size", number(12)}, {"name", ref(5)}}),
                class_named("NSFont"), text("Helvetica"));
    EXPECT_EQ(unarchive_failure(whole), (failure{"Cant decode type 'NSFont' as a value", "root[0]"}));
    EXPECT_EQ(QV::unarchive(whole, QV::unknown_classes::keep)["root"],
              CF::Array::of(CF::Dictionary::of(
                  {{"$class", text("NSFont")}, {"size", number(12)}, {"name", text("Helvetica")}})));
}

TEST(Unarchive, ContainersWithoutTheirMembersAreRefused) {
    const auto refused = [](const char* type, const CF::Dictionary& members) {
        CF::MutableDictionary object = CF::MutableDictionary::copy_of(members);
        object.set("$class", ref(2));
        return unarchive_failure(archive(object, class_named(type))).what;
    };
    const CF::Array one = CF::Array::of(number(1));
    EXPECT_EQ(refused("NSArray", CF::Dictionary::of({})), "Cant decode type 'NSArray' as a value");
    EXPECT_EQ(refused("NSDictionary", CF::Dictionary::of({{"NS.objects", one}})),
              "Cant decode type 'NSDictionary' as a value");
    EXPECT_EQ(
        refused("NSDictionary", CF::Dictionary::of({{"NS.keys", CF::Array::of()}, {"NS.objects", one}})),
        "Cant decode type 'NSDictionary' as a value");
    EXPECT_EQ(refused("NSString", CF::Dictionary::of({{"NS.string", number(1)}})),
              "Cant decode type 'NSString' as a value");
    EXPECT_EQ(refused("NSData", CF::Dictionary::of({})), "Cant decode type 'NSData' as a value");
    EXPECT_EQ(refused("NSDate", CF::Dictionary::of({})), "Cant decode type 'NSDate' as a value");
    EXPECT_EQ(unarchive_failure(archive(parsed_ref(1))).what,
              "Cant decode type 'CFKeyedArchiverUID' as a value");
}

TEST(Unarchive, DepthTakesNoStack) {
    constexpr int levels = 100'000;
    std::vector<CF::AutoPointer> objects = {text("$null")};
    for (int level = 1; level <= levels; ++level)
        objects.push_back(array_of(levels + 2, CF::Array::of(ref(level + 1))));
    objects.push_back(text("core"));
    objects.push_back(class_named("NSArray"));
    EXPECT_EQ(test::depth(QV::unarchive(archive_of(CF::Array::from(objects)))["root"]),
              static_cast<std::size_t>(levels));
}

/// What comes back of a native value.
template <class T>
std::optional<T> back(const T& value) {
    QV::keyed_archiver archiver;
    archiver.encode(value, "root");
    return QV::keyed_unarchiver::open(archiver.finishEncoding()).decode<T>("root");
}

template <class T>
class IntegerRoundTrip : public testing::Test {};
using integers = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                                unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(IntegerRoundTrip, integers);

TYPED_TEST(IntegerRoundTrip, KeepsTheLimits) {
    for (const TypeParam value : {std::numeric_limits<TypeParam>::min(),
                                  std::numeric_limits<TypeParam>::max(), TypeParam{0}, TypeParam{1}})
        EXPECT_EQ(back(value), value);
}

TEST(Decode, GivesNativeValuesBack) {
    EXPECT_EQ(back(1.5), 1.5);
    EXPECT_EQ(back(0.25F), 0.25F);
    using namespace std::string_literals;
    EXPECT_EQ(back("caf\xC3\xA9\0nul"s), "caf\xC3\xA9\0nul"s);
    const std::vector<std::byte> bytes = {std::byte{0}, std::byte{255}};
    EXPECT_EQ(back(bytes), bytes);
    const std::vector<std::vector<int>> lists = {{1, 2}, {}, {3}};
    EXPECT_EQ(back(lists), lists);
    const std::map<std::string, std::vector<std::string>> map = {{"$a", {"x"}}, {"b", {}}};
    EXPECT_EQ(back(map), map);
    EXPECT_EQ(back(CF::Array::of(number(1))), CF::Array::of(number(1)));
    EXPECT_EQ(back(CF::Dictionary::of({{"k", text("v")}})), CF::Dictionary::of({{"k", text("v")}}));
    EXPECT_EQ(back(std::optional<int>(7)), std::optional<int>(7));
}

TEST(Decode, TellsWhatIsAbsentFromWhatIsNull) {
    QV::keyed_archiver archiver;
    archiver.encode(std::optional<int>(), "null");
    auto unarchiver = QV::keyed_unarchiver::open(archiver.finishEncoding());
    EXPECT_EQ(unarchiver.decode<int>("absent"), std::nullopt);
    EXPECT_EQ(unarchiver.decode<int>("null"), std::nullopt);
    EXPECT_FALSE(unarchiver.decode<std::optional<int>>("absent").has_value());
    const auto null = unarchiver.decode<std::optional<int>>("null");
    ASSERT_TRUE(null.has_value());
    EXPECT_FALSE(null->has_value());
}

TEST(Decode, OptionalElementsMayBeNull) {
    auto unarchiver = QV::keyed_unarchiver::open(
        archive(array_of(2, CF::Array::of(ref(0), number(1))), class_named("NSArray")));
    EXPECT_EQ(unarchiver.decode<std::vector<std::optional<int>>>("root"),
              (std::vector<std::optional<int>>{std::nullopt, 1}));
    EXPECT_EQ(failure_of([&] { unarchiver.decode<std::vector<int>>("root"); }),
              (failure{"Cant decode type 'signed integer' as a value", "root[0]"}));
}

TEST(Decode, InlineValuesAreTheirOwn) {
    const CF::Dictionary object = CF::Dictionary::of(
        {{"b", CF::Boolean(true)}, {"d", CF::Date(2.0)}, {"n", CF::Number(2.5)}, {"s", text("inline")}});
    auto unarchiver = QV::keyed_unarchiver::open(
        CF::Dictionary::of({{"$objects", CF::Array::of(text("$null"))}, {"$top", object}}));
    EXPECT_EQ(unarchiver.decode<bool>("b"), true);
    EXPECT_EQ(unarchiver.decode<CF::Date>("d"), CF::Date(2.0));
    EXPECT_EQ(unarchiver.decode<double>("n"), 2.5);
    EXPECT_EQ(unarchiver.decode<std::string>("s"), "inline");
    EXPECT_EQ(unarchiver.decode<CF::AutoPointer>("s"), text("inline"));
}

TEST(Decode, WhatIsNotWhatWasAskedForIsRefusedByItsName) {
    QV::keyed_archiver archiver;
    archiver.encode(std::string("text"), "text");
    archiver.encode(300, "number");
    archiver.encode(1.5, "real");
    archiver.encode(std::map<std::string, std::vector<std::string>>{{"k", {"a", "b"}}}, "map");
    auto unarchiver = QV::keyed_unarchiver::open(archiver.finishEncoding());
    const auto what = [&]<class T>(const char* key, T) {
        return failure_of([&] { unarchiver.decode<T>(key); }).what;
    };
    EXPECT_EQ(what("text", 0), "Cant decode type 'number' as a value");
    EXPECT_EQ(what("text", true), "Cant decode type 'boolean' as a value");
    EXPECT_EQ(what("text", std::vector<int>()), "Cant decode type 'array' as a value");
    EXPECT_EQ(what("text", std::vector<std::byte>()), "Cant decode type 'data' as a value");
    EXPECT_EQ(what("text", CF::Date()), "Cant decode type 'date' as a value");
    EXPECT_EQ(what("text", std::map<std::string, int>()), "Cant decode type 'dictionary' as a value");
    EXPECT_EQ(what("map", std::vector<int>()), "Cant decode type 'array' as a value");
    EXPECT_EQ(what("number", std::string()), "Cant decode type 'string' as a value");
    EXPECT_EQ(what("number", static_cast<signed char>(0)), "Cant decode type 'signed integer' as a value");
    EXPECT_EQ(what("number", static_cast<unsigned char>(0)),
              "Cant decode type 'unsigned integer' as a value");
    EXPECT_EQ(what("real", 0), "Cant decode type 'signed integer' as a value");
    EXPECT_EQ(failure_of([&] { unarchiver.decode<std::map<std::string, std::vector<int>>>("map"); }),
              (failure{"Cant decode type 'number' as a value", "map.k[0]"}));
    EXPECT_EQ(unarchiver.decode<std::string>("text"), "text") << "a failure leaves no trace";
}

/// Decodes itself by decoding what it holds, as deep as that goes.
struct chain {
    int length = 0;
};
std::optional<chain> decode(chain*, QV::keyed_unarchiver& unarchiver) {
    const std::optional<chain> rest = unarchiver.decode<chain>("next");
    return chain{rest ? rest->length + 1 : 1};
}
CF::Dictionary chain_archive(int length, int last) {
    std::vector<CF::AutoPointer> objects = {text("$null")};
    for (int link = 1; link < length; ++link)
        objects.push_back(CF::Dictionary::of({{"next", ref(link + 1)}}));
    objects.push_back(CF::Dictionary::of({{"next", ref(last)}}));
    return archive_of(CF::Array::from(objects));
}

TEST(CustomType, MayHoldItsOwnKind) {
    EXPECT_EQ(QV::keyed_unarchiver::open(chain_archive(100, 0)).decode<chain>("root")->length, 100);
}

TEST(CustomType, NestedTooDeepIsRefused) {
    auto unarchiver = QV::keyed_unarchiver::open(chain_archive(10'000, 0));
    EXPECT_THROW(unarchiver.decode<chain>("root"), cant_decode_as_value);
    EXPECT_TRUE(unarchiver.get_raw().is<CF::Dictionary>());
    EXPECT_EQ(unarchiver.get_raw(), CF::Dictionary::of({{"root", ref(1)}})) << "all levels have been left";
}

TEST(CustomType, CyclesAreRefusedAndLeaveNoTrace) {
    auto unarchiver = QV::keyed_unarchiver::open(chain_archive(3, 1));
    EXPECT_EQ(failure_of([&] { unarchiver.decode<chain>("root"); }), (failure{cycle, "root.next.next.next"}));
    EXPECT_EQ(failure_of([&] { unarchiver.decode<chain>("root"); }), (failure{cycle, "root.next.next.next"}));
    EXPECT_EQ(failure_of([&] { unarchiver.decode<CF::AutoPointer>("root"); }),
              (failure{cycle, "root.next.next.next"}));
    EXPECT_TRUE(unarchiver.get_raw(keyed_archiver_uid{1}));
}

TEST(KeyedUnarchiver, CanBeCopiedAndMoved) {
    auto first = QV::keyed_unarchiver::open(archive(text("t")));
    QV::keyed_unarchiver second = first;
    EXPECT_EQ(second.decode<std::string>("root"), "t");
    QV::keyed_unarchiver third = std::move(first);
    EXPECT_EQ(third.decode<std::string>("root"), "t");
    first = second;
    EXPECT_EQ(first.decode<std::string>("root"), "t");
    second = std::move(third);
    EXPECT_EQ(second.decode<std::string>("root"), "t");
}

} // namespace
