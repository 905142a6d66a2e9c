#include "value_helpers.h"

#include <QVSharedSupport/keyed_archiver.h>
#include <QVSharedSupport/keyed_unarchiver.h>

#include <fmt/format.h>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

using QV::detail::keyed_archiver_uid;
using test::number;
using test::text;

namespace QV {

/// Reaches what only a mistake in the archiver could.
struct keyed_archiver_internals {
    static void set_nothing() {
        keyed_archiver::encoding_context context{CF::MutableDictionary::create(), 0};
        keyed_archiver::set_uid(context, "key", std::nullopt);
    }
    static void set_null(keyed_archiver& archiver) { archiver._setObject(nullptr, keyed_archiver_uid{1}); }
    static keyed_archiver_uid cached(keyed_archiver& archiver, int n) {
        return archiver._createObjectRefCached(n);
    }
    static std::optional<keyed_archiver_uid> reference_if_known(keyed_archiver& archiver,
                                                                const void* object) {
        return archiver._referenceObject(object, true);
    }
};

} // namespace QV

namespace {

CF::Array objects_of(const CF::Dictionary& archive) {
    return archive.get<CF::Array>("$objects");
}
CF::Dictionary top_of(const CF::Dictionary& archive) {
    return archive.get<CF::Dictionary>("$top");
}
/// The uid that `dictionary` has under `key`, -1 for none.
long long uid_at(const CF::Dictionary& dictionary, const char* key) {
    const auto uid = QV::detail::extract_uid(dictionary[key]);
    return uid ? static_cast<long long>(uid->value) : -1;
}
CF::AutoPointer object_at(const CF::Dictionary& archive, const char* key) {
    const auto uid = QV::detail::extract_uid(top_of(archive)[key]);
    return uid ? objects_of(archive)[uid->value] : CF::AutoPointer();
}
std::size_t count_classes(const CF::Dictionary& archive, std::string_view name) {
    std::size_t count = 0;
    for (const CF::Dictionary& entry : objects_of(archive).as<CF::Dictionary>())
        count += entry.get<CF::String>("$classname") == name ? 1U : 0U;
    return count;
}
CF::Dictionary archive_of(const CF::Type& object) {
    QV::keyed_archiver archiver;
    archiver.encode_cftype(object.get(), "root");
    return archiver.finishEncoding();
}

template <class Exception, class Function>
std::string message_of(Function function) {
    try {
        function();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(KeyedArchiver, NamesWhatStandsForNullAndRoot) {
    EXPECT_EQ(QV::detail::null_object_reference_name(), "$null");
    EXPECT_EQ(QV::detail::root_object_key(), "root");
}

TEST(KeyedArchiver, WithoutObjectsHasTheNullObjectAndAnEmptyTop) {
    const CF::Dictionary archive = QV::keyed_archiver().finishEncoding();
    EXPECT_EQ(archive, CF::Dictionary::of({{"$archiver", text("NSKeyedArchiver")},
                                           {"$version", number(100000)},
                                           {"$objects", CF::Array::of(text("$null"))},
                                           {"$top", CF::Dictionary::of({})}}));
}

TEST(KeyedArchiver, ANullObjectIsUid0) {
    const CF::Dictionary archive = archive_of(CF::String());
    EXPECT_EQ(top_of(archive).size(), 1U);
    EXPECT_EQ(uid_at(top_of(archive), "root"), 0);
    EXPECT_EQ(objects_of(archive).size(), 1U);
}

TEST(KeyedArchiver, StringsAndNumbersAreStoredAsThemselves) {
    EXPECT_EQ(object_at(archive_of(text("caf\xC3\xA9 & <b>")), "root"), text("caf\xC3\xA9 & <b>"));
    EXPECT_EQ(object_at(archive_of(number(-5)), "root"), number(-5));
    EXPECT_EQ(object_at(archive_of(CF::Number(1.5)), "root"), CF::Number(1.5));
}

TEST(KeyedArchiver, DataIsStoredWithItsClass) {
    const CF::Data data(std::as_bytes(std::span("\x00\x01\x02", 3)));
    const CF::Dictionary archive = archive_of(data);
    const CF::Dictionary entry(object_at(archive, "root"));
    EXPECT_EQ(entry.size(), 2U);
    EXPECT_EQ(entry.get<CF::Data>("NS.data"), data);
    const auto type = QV::detail::extract_uid(entry["$class"]);
    ASSERT_TRUE(type);
    EXPECT_EQ(objects_of(archive)[type->value],
              CF::Dictionary::of({{"$classname", text("NSData")},
                                  {"$classes", CF::Array::of(text("NSData"), text("NSObject"))}}));
}

TEST(KeyedArchiver, AnArrayHoldsReferencesInOrder) {
    const CF::Dictionary archive = archive_of(CF::Array::of(text("a"), text("b"), text("c")));
    const CF::Dictionary entry(object_at(archive, "root"));
    std::vector<CF::AutoPointer> elements;
    for (const CF::AutoPointer& reference : entry.get<CF::Array>("NS.objects"))
        elements.push_back(objects_of(archive)[QV::detail::extract_uid(reference)->value]);
    EXPECT_EQ(CF::Array::from(elements), CF::Array::of(text("a"), text("b"), text("c")));
    EXPECT_EQ(count_classes(archive, "NSArray"), 1U);
}

TEST(KeyedArchiver, ADictionaryHoldsKeysAndValuesInTheSameOrder) {
    const CF::Dictionary dictionary =
        CF::Dictionary::of({{"a", text("A")}, {"b", text("B")}, {number(7), text("seven")}});
    const CF::Dictionary archive = archive_of(dictionary);
    const CF::Dictionary entry(object_at(archive, "root"));
    const CF::Array keys = entry.get<CF::Array>("NS.keys");
    const CF::Array values = entry.get<CF::Array>("NS.objects");
    ASSERT_EQ(keys.size(), 3U);
    ASSERT_EQ(values.size(), 3U);
    CF::MutableDictionary back = CF::MutableDictionary::create();
    for (std::size_t index = 0; index < 3; ++index)
        back.set(objects_of(archive)[QV::detail::extract_uid(keys[index])->value],
                 objects_of(archive)[QV::detail::extract_uid(values[index])->value]);
    EXPECT_EQ(CF::Dictionary(back), dictionary);
    EXPECT_EQ(count_classes(archive, "NSDictionary"), 1U);
}

TEST(KeyedArchiver, AnObjectMetAgainIsReferenced) {
    const CF::String shared = text("shared");
    QV::keyed_archiver archiver;
    archiver.encode_cftype(shared.get(), "one");
    archiver.encode_cftype(shared.get(), "two");
    archiver.encode_cftype(CF::Array::of(shared, shared).get(), "list");
    const CF::Dictionary archive = archiver.finishEncoding();
    EXPECT_EQ(uid_at(top_of(archive), "one"), uid_at(top_of(archive), "two"));
    EXPECT_EQ(objects_of(archive).size(), 4U) << "$null, the string, the array and its class";
}

TEST(KeyedArchiver, ObjectsThatAreOnlyEqualAreDifferent) {
    QV::keyed_archiver archiver;
    archiver.encode_cftype(CF::Array::of(text("twin"), text("twin")).get(), "root");
    EXPECT_EQ(objects_of(archiver.finishEncoding()).size(), 5U);
}

TEST(KeyedArchiver, AnObjectThatHasDiedLendsItsAddressToNoOther) {
    QV::keyed_archiver archiver;
    std::vector<std::string> keys;
    for (int index = 0; index < 200; ++index) {
        keys.push_back(fmt::format("k{}", index));
        // Dies at once; the allocator would gladly give its place to the next.
        archiver.encode_cftype(text("value " + std::to_string(index)).get(), keys.back());
        archiver.encode_cftype(CF::Array::of(text("element " + std::to_string(index))).get(),
                               keys.back() + "list");
    }
    const CF::Dictionary values = QV::unarchive(archiver.finishEncoding());
    for (int index = 0; index < 200; ++index) {
        const std::string& key = keys[static_cast<std::size_t>(index)];
        EXPECT_EQ(values[key], text("value " + std::to_string(index)));
        EXPECT_EQ(values[key + "list"], CF::Array::of(text("element " + std::to_string(index))));
    }
}

TEST(KeyedArchiver, ArraysShareOneClassDescription) {
    const CF::Dictionary archive =
        archive_of(CF::Array::of(CF::Array::of(), CF::MutableArray::create(), CF::Dictionary::of({})));
    EXPECT_EQ(count_classes(archive, "NSArray"), 1U);
    EXPECT_EQ(count_classes(archive, "NSDictionary"), 1U);
}

TEST(KeyedArchiver, OtherTypesAreRefusedWhereverTheyAre) {
    const std::vector<CF::AutoPointer> refused = {CF::Boolean(true), CF::Date(0.0), test::url(), test::set(),
                                                  test::null_object()};
    for (const CF::AutoPointer& object : refused) {
        for (const CF::AutoPointer& value :
             {object, CF::AutoPointer(CF::Array::of(object)),
              CF::AutoPointer(CF::Array::of(CF::Dictionary::of({{"deep", object}}))),
              CF::AutoPointer(CF::Dictionary::of({{object, text("value")}}))})
            EXPECT_EQ(message_of<std::invalid_argument>([&] { archive_of(value); }),
                      "CFTypeRef does not have a valid runtime type");
    }
}

TEST(KeyedArchiver, CanBeAssignedToAfterAnException) {
    QV::keyed_archiver archiver;
    EXPECT_THROW(archiver.encode_cftype(CF::Array::of(CF::Boolean(true)).get(), "k"), std::invalid_argument);
    archiver = QV::keyed_archiver();
    archiver.encode_cftype(CF::Array::of(number(1)).get(), "k");
    EXPECT_EQ(QV::unarchive(archiver.finishEncoding())["k"], CF::Array::of(number(1)));
}

TEST(KeyedArchiver, DollarsInKeysAreDoubled) {
    QV::keyed_archiver archiver;
    archiver.encode_cftype(number(1).get(), "$x");
    archiver.encode_cftype(number(2).get(), "$$y");
    archiver.encode_cftype(number(3).get(), "x$");
    const CF::Dictionary archive = archiver.finishEncoding();
    EXPECT_TRUE(top_of(archive).contains("$$x"));
    EXPECT_TRUE(top_of(archive).contains("$$$y"));
    EXPECT_TRUE(top_of(archive).contains("x$"));
    EXPECT_EQ(QV::keyed_unarchiver::open(archive).decode<int>("$x"), 1);
    EXPECT_EQ(QV::keyed_unarchiver::open(archive).decode<int>("$$y"), 2);
}

TEST(KeyedArchiver, EmptyKeysAreCounted) {
    QV::keyed_archiver archiver;
    archiver.encode_cftype(number(1000).get(), "");
    archiver.encode_cftype(CF::Array::of().get(), "named");
    archiver._encodeArrayOfObjects(CF::Array::of(number(2000)), "");
    archiver.encode_cftype(number(3000).get(), "$0");
    const CF::Dictionary archive = archiver.finishEncoding();
    EXPECT_EQ(object_at(archive, "$0"), number(1000));
    EXPECT_EQ(top_of(archive).get<CF::Array>("$1").size(), 1U);
    EXPECT_EQ(object_at(archive, "$$0"), number(3000));
}

TEST(KeyedArchiver, AKeyThatIsNotUtf8IsRefused) {
    EXPECT_EQ(message_of<std::invalid_argument>(
                  [] { QV::keyed_archiver().encode_cftype(number(1).get(), "\xFF"); }),
              "A key of a keyed archive is not UTF-8");
    EXPECT_EQ(message_of<std::invalid_argument>([] { QV::keyed_archiver().encode("\xFF", "key"); }),
              "A text of a keyed archive is not UTF-8");
}

TEST(KeyedArchiver, ALaterValueReplacesAnEarlierOne) {
    QV::keyed_archiver archiver;
    archiver.encode(1, "k");
    archiver.encode(2, "k");
    EXPECT_EQ(QV::unarchive(archiver.finishEncoding())["k"], number(2));
}

TEST(KeyedArchiver, EncodersWriteIntoTheCurrentObject) {
    QV::keyed_archiver archiver;
    CF::encode(CF::Array::of(number(1)), archiver);
    EXPECT_EQ(top_of(archiver.finishEncoding()).get<CF::Array>("NS.objects").size(), 1U);
    CF::encode(CF::Dictionary::of({{"k", number(1)}}), archiver);
    CF::encode(CF::Data(std::span<const std::byte>()), archiver);
    const CF::Dictionary top = top_of(archiver.finishEncoding());
    EXPECT_EQ(top.size(), 3U);
    EXPECT_EQ(top.get<CF::Array>("NS.keys").size(), 1U);
    EXPECT_TRUE(top.get<CF::Data>("NS.data"));
}

TEST(KeyedArchiver, CyclesThroughMutableContainersEnd) {
    CF::MutableArray array = CF::MutableArray::create();
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    array.append(dictionary);
    array.append(array);
    dictionary.set("back", array);
    const CF::Dictionary archive = archive_of(array);
    const CF::Array elements = CF::Dictionary(object_at(archive, "root")).get<CF::Array>("NS.objects");
    EXPECT_EQ(QV::detail::extract_uid(elements[1]), QV::detail::extract_uid(top_of(archive)["root"]));
    array.clear();
}

TEST(KeyedArchiver, DepthTakesNoStack) {
    constexpr std::size_t levels = 20'000;
    const CF::Dictionary archive = archive_of(test::nested(levels, text("core")));
    EXPECT_EQ(test::depth(QV::unarchive(archive)["root"]), levels);
}

TEST(KeyedArchiver, ACopyGoesOnByItself) {
    const CF::String shared = text("shared");
    QV::keyed_archiver first;
    first.encode_cftype(shared.get(), "shared");
    first.encode(1000, "");
    QV::keyed_archiver second = first;
    first.encode(std::string("first"), "own");
    second.encode_cftype(shared.get(), "again");
    second.encode(2000, "");
    const CF::Dictionary of_first = QV::unarchive(first.finishEncoding());
    const CF::Dictionary archive = second.finishEncoding();
    EXPECT_EQ(of_first,
              CF::Dictionary::of({{"shared", shared}, {"$0", number(1000)}, {"own", text("first")}}));
    EXPECT_EQ(QV::unarchive(archive),
              CF::Dictionary::of(
                  {{"shared", shared}, {"again", shared}, {"$0", number(1000)}, {"$1", number(2000)}}));
    EXPECT_EQ(uid_at(top_of(archive), "shared"), uid_at(top_of(archive), "again"));
    first = second;
    EXPECT_EQ(QV::unarchive(first.finishEncoding()), QV::unarchive(archive));
    const QV::keyed_archiver& same = first;
    first = same;
    EXPECT_EQ(QV::unarchive(first.finishEncoding()), QV::unarchive(archive));
}

TEST(KeyedArchiver, CanGoOnAfterAnArchiveHasBeenMade) {
    QV::keyed_archiver archiver;
    archiver.encode(1, "one");
    const CF::Dictionary before = archiver.finishEncoding();
    archiver.encode(2, "two");
    EXPECT_EQ(top_of(before).size(), 1U);
    EXPECT_EQ(top_of(archiver.finishEncoding()).size(), 2U);
}

TEST(KeyedArchiver, TheArchiveHoldsReferencesOfItsOwnKind) {
    const CF::Dictionary archive = archive_of(text("t"));
    const CF::AutoPointer reference = top_of(archive)["root"];
    EXPECT_FALSE(reference.is<CF::Dictionary>());
    EXPECT_EQ(QV::detail::extract_uid(reference), keyed_archiver_uid{1});
}

TEST(KeyedArchiver, ManyReferencesToOneObjectCanBeWritten) {
    // A list that holds one container more than some 1,500 times is refused by the XML writer.
    const CF::Array shared = CF::Array::of(number(5));
    const CF::Array list = CF::Array::from(std::vector<CF::AutoPointer>(5'000, shared));
    EXPECT_EQ(QV::unarchive(archive_of(list))["root"], list);
}

TEST(KeyedArchiver, TellsWhenItIsMisused) {
    using internals = QV::keyed_archiver_internals;
    QV::keyed_archiver archiver;
    EXPECT_EQ(message_of<std::runtime_error>([] { internals::set_nothing(); }),
              "Attempted to set a key to a nullopt uid");
    EXPECT_EQ(message_of<std::runtime_error>([&] { internals::set_null(archiver); }),
              "Attempted to encode separate null pointer.  This should never happen.");
    const CF::String object = text("object");
    EXPECT_FALSE(internals::reference_if_known(archiver, object.get()));
    archiver.encode_cftype(object.get(), "k");
    EXPECT_EQ(internals::reference_if_known(archiver, object.get()), keyed_archiver_uid{1});
}

TEST(KeyedArchiver, UidsAreCachedInTheirOrder) {
    using internals = QV::keyed_archiver_internals;
    QV::keyed_archiver archiver;
    EXPECT_EQ(internals::cached(archiver, 0), keyed_archiver_uid{0});
    EXPECT_EQ(internals::cached(archiver, -3), keyed_archiver_uid{0});
    EXPECT_EQ(internals::cached(archiver, 1), keyed_archiver_uid{1});
    EXPECT_EQ(internals::cached(archiver, 2), keyed_archiver_uid{2});
    EXPECT_EQ(internals::cached(archiver, 1), keyed_archiver_uid{1});
}

} // namespace
