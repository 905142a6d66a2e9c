#include "error_code_helper.h"
#include "failing_allocator.h"

#include <QVSharedSupport/errors.h>

#include <CFAdapters/CFAdapters.h>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <new>
#include <string>
#include <system_error>

using QV::SharedSupport::ErrorCode;

namespace {

boost::system::error_code code_of(int value) {
    return QV::SharedSupport::make_error_code(static_cast<ErrorCode>(value));
}

TEST(ErrorCode, HasItsMessages) {
    EXPECT_STREQ(code_of(0).category().name(), "SharedSupport error");
    EXPECT_EQ(code_of(0).message(), "Success");
    EXPECT_EQ(code_of(1).message(), "Unknown error");
    EXPECT_EQ(code_of(2).message(), "Cannot retrieve the requested resource");
    EXPECT_EQ(code_of(3).message(), "File integrity validation failed");
    EXPECT_EQ(code_of(4).message(), "Failed to create property list");
    EXPECT_EQ(code_of(5).message(), "Failed to parse");
    EXPECT_EQ(code_of(6).message(), "Unknown error 6");
    EXPECT_EQ(code_of(-1).message(), "Unknown error -1");
}

TEST(ErrorCode, HasFailedUnlessSuccess) {
    EXPECT_FALSE(code_of(0).failed());
    for (const int value : {1, 2, 3, 4, 5, 6, -1})
        EXPECT_TRUE(code_of(value).failed()) << value;
}

TEST(ErrorCode, ConvertsByItself) {
    const boost::system::error_code code = ErrorCode::FailedToParse;
    EXPECT_EQ(code.value(), 5);
    EXPECT_TRUE(code == ErrorCode::FailedToParse);
    EXPECT_TRUE(ErrorCode::FailedToParse == code);
    EXPECT_TRUE(code != ErrorCode::UnknownError);
    EXPECT_EQ(code.category(), QV::SharedSupport::error_code_category());
    EXPECT_EQ(code.default_error_condition(),
              boost::system::error_condition(5, QV::SharedSupport::error_code_category()));
    const boost::system::system_error thrown(ErrorCode::FailedToParse, "reading");
    EXPECT_STREQ(thrown.what(), "reading: Failed to parse [SharedSupport error:5]");
}

TEST(ErrorCode, SurvivesTheWayThroughTheStandardLibrary) {
    const std::error_code standard = code_of(5);
    EXPECT_EQ(standard.message(), "Failed to parse");
    EXPECT_STREQ(standard.category().name(), "SharedSupport error");
    EXPECT_EQ(boost::system::error_code(standard), code_of(5));
}

TEST(Errc, HasItsMessages) {
    EXPECT_STREQ(QV::errc_category().name(), "QV error condition");
    EXPECT_EQ(QV::make_error_condition(QV::errc::ok).message(), "Ok");
    EXPECT_EQ(QV::make_error_condition(QV::errc::eof).message(), "End of file");
    EXPECT_EQ(QV::make_error_condition(static_cast<QV::errc>(2)).message(), "Unknown error 2");
    const boost::system::error_condition condition = QV::errc::eof;
    EXPECT_EQ(condition.value(), 1);
    EXPECT_TRUE(condition == QV::errc::eof);
}

/// Whether `code` is `condition`, asked in every way there is; all must agree.
template <class Code>
void expect_comparison(const Code& code, QV::errc condition, bool expected) {
    EXPECT_EQ(code == condition, expected);
    EXPECT_EQ(condition == code, expected);
    EXPECT_EQ(code != condition, !expected);
    EXPECT_EQ(condition != code, !expected);
}

/// The same for a Boost code, as it is, by way of a condition object, and as a standard code.
void expect_everywhere(const boost::system::error_code& code, QV::errc condition, bool expected) {
    SCOPED_TRACE(code.to_string() + " against " + QV::make_error_condition(condition).message());
    expect_comparison(code, condition, expected);
    EXPECT_EQ(code == QV::make_error_condition(condition), expected);
    EXPECT_EQ(QV::make_error_condition(condition) == code, expected);
    expect_comparison(std::error_code(code), condition, expected);
}

TEST(Errc, EndOfFileOfAsioIsEof) {
    expect_everywhere(boost::asio::error::eof, QV::errc::eof, true);
    expect_everywhere(boost::asio::error::not_found, QV::errc::eof, false);
    // The value 2 of another category is something else.
    expect_everywhere(boost::system::error_code(2, boost::system::generic_category()), QV::errc::eof, false);
}

TEST(Errc, ABrokenPipeIsEof) {
    expect_everywhere(boost::system::errc::make_error_code(boost::system::errc::broken_pipe), QV::errc::eof,
                      true);
    expect_everywhere(boost::system::error_code(32, boost::system::generic_category()), QV::errc::eof, true);
    expect_comparison(std::make_error_code(std::errc::broken_pipe), QV::errc::eof, true);
    expect_comparison(std::make_error_code(std::errc::no_such_file_or_directory), QV::errc::eof, false);
#if defined(_WIN32)
    constexpr int system_broken_pipe = 109;
#else
    constexpr int system_broken_pipe = 32;
#endif
    expect_everywhere(boost::system::error_code(system_broken_pipe, boost::system::system_category()),
                      QV::errc::eof, true);
}

TEST(Errc, Error38IsEofOnWindowsAlone) {
#if defined(_WIN32)
    constexpr bool expected = true;
#else
    constexpr bool expected = false; // ENOSYS
#endif
    const std::error_code standard(38, std::system_category());
    expect_comparison(standard, QV::errc::eof, expected);
    expect_comparison(boost::system::error_code(standard), QV::errc::eof, expected);
    expect_everywhere(boost::system::error_code(38, boost::system::system_category()), QV::errc::eof,
                      expected);
    expect_comparison(std::error_code(38, std::generic_category()), QV::errc::eof, false);
}

enum class inverted_value { zero };
constexpr std::array<QV::error_code_info<inverted_value>, 1> inverted_table{
    {{"inverted 0", nullptr, inverted_value::zero}}};

/// Says of 7 that it is no failure, and of 0 that it is one.
class inverted_category final : public QV::error_code_helper<inverted_table> {
public:
    constexpr inverted_category() noexcept : error_code_helper("inverted", 0x9999) {}
    bool failed(int value) const noexcept override { return value != 7; }
};

const inverted_category inverted;

TEST(Errc, OkIsWhateverHasNotFailed) {
    expect_everywhere(boost::system::error_code(), QV::errc::ok, true);
    expect_everywhere(code_of(0), QV::errc::ok, true);
    expect_everywhere(code_of(1), QV::errc::ok, false);
    expect_everywhere(boost::asio::error::eof, QV::errc::ok, false);
    expect_comparison(boost::system::error_code(7, inverted), QV::errc::ok, true);
    expect_comparison(boost::system::error_code(0, inverted), QV::errc::ok, false);
    expect_comparison(std::error_code(), QV::errc::ok, true);
    expect_comparison(std::make_error_code(std::errc::io_error), QV::errc::ok, false);
}

TEST(Errc, SuccessIsNotEof) {
    expect_everywhere(boost::system::error_code(), QV::errc::eof, false);
    expect_comparison(std::error_code(), QV::errc::eof, false);
}

TEST(Errc, AConditionWithoutANameEqualsOnlyItself) {
    const QV::errc unnamed = static_cast<QV::errc>(9);
    expect_comparison(boost::asio::error::make_error_code(boost::asio::error::eof), unnamed, false);
    expect_comparison(boost::system::error_code(9, QV::errc_category()), unnamed, true);
}

TEST(SharedSupportErrorCategory, HasItsMessages) {
    const std::error_category& category = QV::SharedSupport::shared_support_error_category();
    EXPECT_STREQ(category.name(), "shared support");
    EXPECT_EQ(category.message(0), "Error retrieving the requested value from the relevant database");
    EXPECT_EQ(category.message(1), "Error saving values to the relevant database");
    EXPECT_EQ(category.message(2), "Error with system raw device");
    EXPECT_EQ(category.message(3), "This interface is not supported on this platform");
    EXPECT_EQ(category.message(4), "Unknown error 4");
    EXPECT_EQ(category.message(-7), "Unknown error -7");
    EXPECT_EQ(category.message(std::numeric_limits<int>::min()), "Unknown error -2147483648");
    EXPECT_EQ(category.default_error_condition(2), std::error_condition(2, category));
    EXPECT_EQ(&QV::SharedSupport::shared_support_error_category(), &category);
}

TEST(ErrorDomain, IsItsText) {
    EXPECT_EQ(QV::SharedSupport::kErrorDomain, "QVSharedError.ErrorDomain");
}

TEST(Error, WithoutUnderlyingErrorAndMessageHasDescriptionAndEmptyReason) {
    const CF::Error error = QV::SharedSupport::Error(ErrorCode::FailedToParse, nullptr, "");
    EXPECT_EQ(error.domain(), "QVSharedError.ErrorDomain");
    EXPECT_EQ(error.code(), 5);
    const CF::Dictionary user_info = error.user_info();
    EXPECT_EQ(user_info.size(), 2U);
    EXPECT_EQ(user_info.get<CF::String>(kCFErrorLocalizedDescriptionKey), "Failed to parse");
    EXPECT_EQ(user_info.get<CF::String>(kCFErrorLocalizedFailureReasonKey), "");
    EXPECT_FALSE(error.underlying());
    EXPECT_STREQ(error.what(), "Failed to parse");
}

TEST(Error, TakesMessageAndUnderlyingError) {
    const CF::Error inner = QV::SharedSupport::Error(ErrorCode::UnknownError, nullptr, std::string("inner"));
    const CFIndex references = CFGetRetainCount(inner.get());
    {
        const std::string_view message("with {} braces and \xC3\xA4");
        const CF::Error error =
            QV::SharedSupport::Error(ErrorCode::CannotRetrieveResource, inner.get(), message);
        EXPECT_EQ(error.failure_reason(), message);
        EXPECT_EQ(error.underlying(), inner);
        EXPECT_GT(CFGetRetainCount(inner.get()), references);
    }
    EXPECT_EQ(CFGetRetainCount(inner.get()), references);
}

TEST(Error, AnUnderlyingObjectThatIsNoErrorIsLeftOut) {
    const CF::String impostor("no error");
    const auto disguised = static_cast<CFErrorRef>(const_cast<void*>(static_cast<CFTypeRef>(impostor.get())));
    const CF::Error error = QV::SharedSupport::Error(ErrorCode::UnknownError, disguised, "reason");
    EXPECT_TRUE(error);
    EXPECT_FALSE(error.user_info().contains(kCFErrorUnderlyingErrorKey));
}

TEST(Error, KeepsNulsAndWhatIsNotUtf8AsWellAsItCan) {
    using namespace std::string_literals;
    EXPECT_EQ(QV::SharedSupport::Error(ErrorCode::UnknownError, nullptr, "a\0b"s).failure_reason(), "a\0b"s);
    EXPECT_EQ(QV::SharedSupport::Error(ErrorCode::UnknownError, nullptr, "caf\xE9!").failure_reason(),
              "caf\xEF\xBF\xBD!");
}

TEST(Error, OfAnUnknownCodeSaysSo) {
    EXPECT_STREQ(QV::SharedSupport::Error(static_cast<ErrorCode>(6), nullptr, "").what(), "Unknown error 6");
}

TEST(EcToCf, OfACodeThatHasNotFailedIsEmpty) {
    EXPECT_FALSE(QV::ec_to_cf(boost::system::error_code(), "reason"));
    EXPECT_FALSE(QV::ec_to_cf(std::error_code(), "reason"));
    EXPECT_FALSE(QV::ec_to_cf(code_of(0), ""));
    EXPECT_FALSE(QV::ec_to_cf(boost::system::error_code(7, inverted), ""));
}

TEST(EcToCf, AZeroThatHasFailedIsAnError) {
    const CF::Error error = QV::ec_to_cf(boost::system::error_code(0, inverted), "");
    ASSERT_TRUE(error);
    EXPECT_EQ(error.code(), 0);
    EXPECT_EQ(error.domain(), "error_code inverted");
    EXPECT_STREQ(error.what(), "inverted 0");
}

TEST(EcToCf, CarriesDomainCodeDescriptionAndReason) {
    const CF::Error error = QV::ec_to_cf(code_of(5), "because \xC3\xA4");
    EXPECT_EQ(error.domain(), "error_code SharedSupport error");
    EXPECT_EQ(error.code(), 5);
    const CF::Dictionary user_info = error.user_info();
    EXPECT_EQ(user_info.size(), 3U);
    EXPECT_EQ(user_info.get<CF::String>(kCFErrorLocalizedDescriptionKey), "Failed to parse");
    EXPECT_EQ(user_info.get<CF::String>(kCFErrorLocalizedFailureReasonKey), "because \xC3\xA4");
    EXPECT_EQ(user_info.get<CF::Boolean>(kCFErrorIsFriendlyKey), CF::Boolean(false));
    EXPECT_FALSE(error.is_friendly());
}

TEST(EcToCf, WithoutAReasonSetsNone) {
    const CF::Error error = QV::ec_to_cf(code_of(1), "");
    EXPECT_EQ(error.user_info().size(), 2U);
    EXPECT_FALSE(error.user_info().contains(kCFErrorLocalizedFailureReasonKey));
}

TEST(EcToCf, TakesStandardCodesPlainOrWrapped) {
    const std::error_code standard = std::make_error_code(std::errc::no_such_file_or_directory);
    const std::error_code own(2, QV::SharedSupport::shared_support_error_category());
    for (const CF::Error& error : {QV::ec_to_cf(own, ""), QV::ec_to_cf(boost::system::error_code(own), "")}) {
        EXPECT_EQ(error.domain(), "error_code shared support");
        EXPECT_EQ(error.code(), 2);
        EXPECT_STREQ(error.what(), "Error with system raw device");
    }
    EXPECT_EQ(QV::ec_to_cf(standard, "").domain(), "error_code generic");
    EXPECT_EQ(QV::ec_to_cf(std::error_code(2, std::system_category()), "").domain(), "error_code system");
    EXPECT_EQ(QV::ec_to_cf(boost::system::error_code(2, boost::system::system_category()), "").domain(),
              "error_code system");
}

TEST(EcToCf, KeepsExtremeValues) {
    EXPECT_EQ(QV::ec_to_cf(code_of(std::numeric_limits<int>::min()), "").code(),
              std::numeric_limits<int>::min());
    EXPECT_EQ(QV::ec_to_cf(code_of(std::numeric_limits<int>::max()), "").code(),
              std::numeric_limits<int>::max());
}

/// A category out of reach of any rule.
class hostile_category : public std::error_category {
public:
    const char* name() const noexcept override { return "hostile \xE9"; }
    std::string message(int value) const override {
        if (value == 1) throw std::bad_alloc();
        return "Zugriff verweigert f\xFCr alle";
    }
};

const hostile_category hostile;

TEST(EcToCf, DoesNotThrowWhenTheMessageDoes) {
    static_assert(noexcept(QV::ec_to_cf(std::error_code(), "")));
    const CF::Error error = QV::ec_to_cf(std::error_code(1, hostile), "reason");
    ASSERT_TRUE(error);
    EXPECT_EQ(error.code(), 1);
    EXPECT_FALSE(error.user_info().contains(kCFErrorLocalizedDescriptionKey));
    EXPECT_EQ(error.failure_reason(), "reason");
}

TEST(EcToCf, KeepsTextsThatAreNotUtf8AsWellAsItCan) {
    const CF::Error error = QV::ec_to_cf(std::error_code(2, hostile), "\xFF");
    EXPECT_STREQ(error.what(), "Zugriff verweigert f\xEF\xBF\xBDr alle");
    EXPECT_EQ(error.failure_reason(), "\xEF\xBF\xBD");
    EXPECT_EQ(error.domain(), "error_code hostile \xEF\xBF\xBD");
}

TEST(EcToCf, WithoutMemoryGivesTheErrorOrNone) {
    bool refused = true;
    for (int granted = 0; refused; ++granted) {
        ASSERT_LT(granted, 1000);
        const qv_test::failing_allocator allocator(granted);
        const CF::Error error = QV::ec_to_cf(code_of(5), "a reason of some length, an object of its own");
        if (error) {
            EXPECT_EQ(error.code(), 5);
        }
        refused = allocator.refused();
        if (!refused) {
            EXPECT_EQ(error.user_info().size(), 3U);
        }
    }
}

} // namespace
