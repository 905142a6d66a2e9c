// Lets the n-th allocation fail, for every n: of the library's own blocks, and of CoreFoundation's objects.
// What comes out is std::bad_alloc or the error that the operation documents, never half a value.
#include "failing_allocator.h"
#include "failing_new.h"
#include "value_helpers.h"

#include <QVSharedSupport/error_dictionary.h>
#include <QVSharedSupport/keyed_archiver.h>
#include <QVSharedSupport/keyed_unarchiver.h>
#include <QVSharedSupport/notification.h>
#include <QVSharedSupport/redact_passwords.h>
#include <QVSharedSupport/sanitize.h>
#include <QVSharedSupport/zip_error.h>

#include <boost/system/system_error.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <vector>

using test::number;
using test::text;

namespace {

/// What an operation gives, or nothing where it said that it could not.
using operation = std::function<CF::AutoPointer()>;

void without_new(const operation& work, const CF::AutoPointer& expected) {
    CF::AutoPointer made;
    qv_test::run_out_of_memory_everywhere([&] { made = work(); },
                                          [&](bool ran_out) {
                                              EXPECT_TRUE(made ? CFEqual(made.get(), expected.get())
                                                               : ran_out);
                                              made = CF::AutoPointer();
                                          });
}

void without_objects(const operation& work, const CF::AutoPointer& expected) {
    const int before = qv_test::failing_allocator::living();
    int failed = 0;
    for (bool refused = true; refused; ++failed) {
        ASSERT_LT(failed, 10'000);
        {
            const qv_test::failing_allocator allocator(failed);
            try {
                const CF::AutoPointer made = work();
                refused = allocator.refused();
                EXPECT_TRUE(made ? CFEqual(made.get(), expected.get()) : refused) << failed;
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(allocator.refused());
            }
        }
        ASSERT_EQ(qv_test::failing_allocator::living(), before) << failed;
    }
    EXPECT_GT(failed, 1);
    std::cout << failed - 1 << " objects could not be made in turn\n";
}

void run_out_of_memory(const operation& work) {
    const CF::AutoPointer expected = work();
    ASSERT_TRUE(expected);
    without_new(work, expected);
    without_objects(work, expected);
}

/// For an operation that documents an error for what it cannot do.
operation or_nothing(const operation& work) {
    return [work]() -> CF::AutoPointer {
        try {
            return work();
        } catch (const boost::system::system_error&) {
            return {};
        } catch (const QV::archiver_exceptions::archive_error&) {
            return {};
        }
    };
}

/// Of all kinds of values; long enough that each is an object of its own.
CF::Dictionary sample() {
    const CF::Error inner(text("an inner domain"), 2, text("what went wrong inside"), CF::Error(),
                          text("why it did"));
    const CF::Error error(text("an outer domain"), 1, text("what went wrong"), inner, text("why it did"));
    return CF::Dictionary::of(
        {{"error", error},
         {"list", CF::Array::of(text("an element of the list"), number(100'000), CF::Boolean(true))},
         {"a password", text("a secret that nobody may see")},
         {"nested", CF::Dictionary::of({{"PASSWORD of another", number(123'456)}, {"n", number(77'777)}})}});
}

/// The same without what an archive does not take.
CF::Dictionary plain_sample() {
    const CF::String shared = text("a text that occurs twice");
    return CF::Dictionary::of(
        {{"list", CF::Array::of(shared, number(100'000), CF::Data(std::as_bytes(std::span("bytes"))))},
         {"nested", CF::Dictionary::of({{"again", shared}, {"real", CF::Number(0.125)}})}});
}

CF::Dictionary archived(const CF::Dictionary& value) {
    QV::keyed_archiver archiver;
    archiver.encode(value, "root");
    return archiver.finishEncoding();
}

TEST(FailingAllocation, OfErrorDictionaries) {
    const CF::Error error(sample()["error"]);
    run_out_of_memory([&] { return QV::DictionaryFromError(error); });
    const CF::Dictionary dictionary = QV::DictionaryFromError(error);
    run_out_of_memory([&] { return QV::ErrorFromDictionary(dictionary); });
}

TEST(FailingAllocation, OfErrorsWithoutADescription) {
    const CF::Error bare = CF::Error::adopt(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("a domain without any texts"), 100'000, nullptr));
    const CF::Dictionary expected = QV::DictionaryFromError(bare);
    CF::Dictionary made;
    // CoreFoundation makes the description up; it cannot say that it had no memory for it.
    const auto check = [&](bool ran_out) {
        for (const auto& [key, value] : expected) {
            const bool may_be_missing = ran_out && key == CF::String("Description");
            EXPECT_TRUE(made[CF::String(key)] == value ||
                        (may_be_missing && made[CF::String(key)] == text("")))
                << key.description();
        }
        made = CF::Dictionary();
    };
    qv_test::run_out_of_memory_everywhere([&] { made = QV::DictionaryFromError(bare); }, check);
    without_objects([&] { return QV::DictionaryFromError(bare); }, expected);
}

TEST(FailingAllocation, OfSanitising) {
    const CF::Dictionary value = sample();
    for (const QV::on_error error :
         {QV::on_error::leave_out, QV::on_error::throw_error, QV::on_error::give_nothing})
        run_out_of_memory([&] { return QV::sanitize_for_xml(value, error); });
}

// Above all, no password is shown for want of memory.
TEST(FailingAllocation, OfRedaction) {
    const CF::Dictionary value = sample();
    run_out_of_memory([&] { return QV::redact_passwords(value).get_redacted(); });
}

TEST(FailingAllocation, OfZipErrors) {
    const operation make = [] { return CF::AutoPointer(CF::Error::adopt(zipCreateError(-103))); };
    without_objects(make, make());
}

TEST(FailingAllocation, OfTheArchiver) {
    const CF::Dictionary value = plain_sample();
    // The references are equal to no others, which is why the text is compared.
    run_out_of_memory([&] {
        const std::string xml = test::xml(archived(value));
        return xml.empty() ? CF::AutoPointer() : CF::AutoPointer(text(xml));
    });
}

TEST(FailingAllocation, OfACopiedArchiver) {
    QV::keyed_archiver original;
    original.encode(plain_sample(), "root");
    const auto uid_texts = [](const QV::keyed_archiver& archiver) {
        QV::keyed_archiver copy = archiver;
        const std::string xml = test::xml(copy.finishEncoding());
        return xml.empty() ? CF::AutoPointer() : CF::AutoPointer(text(xml));
    };
    run_out_of_memory([&] { return uid_texts(original); });
}

TEST(FailingAllocation, OfTheUnarchiver) {
    const CF::Dictionary archive = archived(plain_sample());
    run_out_of_memory(or_nothing([&] { return QV::unarchive(archive); }));
}

using lists = std::map<std::string, std::vector<std::string>>;
const lists some_lists = {{"the first of the lists", {"an element of it", "another element of it"}}};

TEST(FailingAllocation, OfEncodingNativeTypes) {
    run_out_of_memory([&] {
        QV::keyed_archiver archiver;
        archiver.encode(some_lists, "$lists");
        archiver.encode(123'456, "an integer");
        archiver.encode(0.375, "a real number");
        archiver.encode(std::vector<std::byte>(20), "");
        const std::string xml = test::xml(archiver.finishEncoding());
        return xml.empty() ? CF::AutoPointer() : CF::AutoPointer(text(xml));
    });
}

TEST(FailingAllocation, OfDecodingNativeTypes) {
    const lists& expected = some_lists;
    QV::keyed_archiver archiver;
    archiver.encode(expected, "root");
    const CF::Dictionary archive = archiver.finishEncoding();
    run_out_of_memory(or_nothing([&] {
        const auto decoded = QV::keyed_unarchiver::open(archive).decode<lists>("root");
        if (!decoded) return CF::AutoPointer();
        return CF::AutoPointer(*decoded == expected ? kCFBooleanTrue : kCFBooleanFalse);
    }));
}

TEST(FailingAllocation, OfNotifications) {
    const QV::notification message = {"a name of some length", plain_sample()};
    run_out_of_memory(or_nothing([&] {
        const std::vector<unsigned char> bytes = QV::serialise(message);
        return CF::AutoPointer(CF::Data(std::as_bytes(std::span(bytes))));
    }));
    const std::vector<unsigned char> bytes = QV::serialise(message);
    run_out_of_memory(or_nothing([&] {
        const QV::notification read = QV::parse(bytes);
        return read.name == message.name ? CF::AutoPointer(read.contents) : CF::AutoPointer(kCFNull);
    }));
}

} // namespace
