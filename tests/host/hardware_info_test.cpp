#include "hardware_info.h"

#include "fake_management.h"
#include "helper_programs.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using fake_management::counted;
using fake_management::property;
using fake_management::row;
using fake_management::script;
using fake_management::step;

const row first = {{L"LENOVO"}, {L"20XW00FHUS"}};
const row second = {{L"Other"}, {L"Another"}};

/// What the service tells, and nothing of it kept.
QV::hardware_info ask(script what) {
    fake_management::play(std::move(what));
    QV::hardware_info info = QV::query_hardware(fake_management::calls);
    EXPECT_EQ(counted().objects, 0);
    EXPECT_EQ(counted().objects_at_the_end, 0);
    EXPECT_EQ(counted().strings, 0);
    EXPECT_EQ(counted().variants, 0);
    EXPECT_EQ(counted().initialized, 0);
    EXPECT_EQ(counted().initializations, 1);
    return info;
}

void expect(const QV::hardware_info& info, const char* manufacturer, const char* model) {
    EXPECT_EQ(info.manufacturer, manufacturer);
    EXPECT_EQ(info.model, model);
}

TEST(hardware_info, is_that_of_the_first_row) {
    expect(ask({.rows = {first}}), "LENOVO", "20XW00FHUS");
    expect(ask({.rows = {first, second, second}}), "LENOVO", "20XW00FHUS");
    EXPECT_EQ(counted().rows_read, 3);
}

TEST(hardware_info, is_empty_without_a_row) {
    expect(ask({}), "", "");
}

TEST(hardware_info, takes_each_text_from_the_first_row_that_has_it) {
    for (const VARTYPE type : {VT_EMPTY, VT_NULL, VT_I4, VT_UNKNOWN}) {
        expect(ask({.rows = {{{L"LENOVO"}, {{}, type}}, second}}), "LENOVO", "Another");
        expect(ask({.rows = {{{{}, type}, {L"20XW00FHUS"}}, second}}), "Other", "20XW00FHUS");
        expect(ask({.rows = {{{{}, type}, {{}, type}}}}), "", "");
    }
}

TEST(hardware_info, takes_an_empty_text_for_a_text) {
    expect(ask({.rows = {{{L""}, {L""}}, second}}), "", "");
    // A null pointer is the empty string.
    expect(ask({.rows = {{{{}, VT_BSTR}, {L"x"}}, second}}), "", "x");
}

TEST(hardware_info, is_in_utf8_less_what_is_not_utf16) {
    expect(ask({.rows = {{{L"Ger\u00E4te \u65E5\u672C"}, {L"\xD83D\xDE00"}}}}),
           "Ger\xC3\xA4te \xE6\x97\xA5\xE6\x9C\xAC", "\xF0\x9F\x98\x80");
    expect(ask({.rows = {{{L"a\xDC00z"}, {L"b\xD800"}}}}), "az", "b");
}

TEST(hardware_info, is_empty_and_keeps_nothing_whatever_fails) {
    for (const step failing : {step::initialize, step::create_locator, step::first_string, step::connect,
                               step::set_proxy_blanket, step::second_string, step::third_string, step::query})
        for (const bool despite_failure : {false, true}) {
            SCOPED_TRACE(static_cast<int>(failing));
            expect(ask({failing, {first}, despite_failure}), "", "");
            EXPECT_EQ(counted().rows_read, 0);
        }
}

TEST(hardware_info, keeps_what_was_read_before_the_rows_failed) {
    for (const bool despite_failure : {false, true}) {
        expect(ask({step::next_row, {first, second}, despite_failure}), "LENOVO", "20XW00FHUS");
        expect(ask({step::next_row, {}, despite_failure}), "", "");
    }
}

TEST(hardware_info, leaves_out_a_property_that_cannot_be_read) {
    for (const bool despite_failure : {false, true}) {
        expect(ask({step::read_manufacturer, {first, second}, despite_failure}), "", "20XW00FHUS");
        expect(ask({step::read_model, {first, second}, despite_failure}), "LENOVO", "");
    }
}

TEST(hardware_info, works_where_com_is_set_up_already) {
    expect(ask({.rows = {first}, .initialized = S_FALSE}), "LENOVO", "20XW00FHUS");
}

/// Whether COM is set up on this thread.
bool has_com() {
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    const HRESULT result = CoGetApartmentType(&type, &qualifier);
    return SUCCEEDED(result) && qualifier != APTTYPEQUALIFIER_IMPLICIT_MTA;
}

TEST(get_hardware_info, asks_the_management_service) {
    // Each on a thread of its own, whose state of COM is known.
    std::thread([] {
        const QV::hardware_info info = QV::get_hardware_info();
        EXPECT_FALSE(info.manufacturer.empty());
        EXPECT_FALSE(info.model.empty());
        EXPECT_FALSE(has_com());
    }).join();
}

TEST(get_hardware_info, leaves_com_as_it_was) {
    std::thread([] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_FALSE(QV::get_hardware_info().model.empty());
        EXPECT_TRUE(has_com());
        CoUninitialize();
        EXPECT_FALSE(has_com());
    }).join();
}

TEST(get_hardware_info, is_empty_where_com_is_in_the_other_mode) {
    std::thread([] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        for (int i = 0; i < 1000; ++i) {
            const QV::hardware_info info = QV::get_hardware_info();
            ASSERT_EQ(info.manufacturer, "");
            ASSERT_EQ(info.model, "");
        }
        // What it did not set up it did not take down either.
        EXPECT_TRUE(has_com());
        CoUninitialize();
        EXPECT_FALSE(has_com());
    }).join();
}

TEST(get_hardware_info, keeps_nothing_over_a_thousand_calls) {
    std::thread([] {
        // Held, so that COM is not started and stopped each time, and one handle of either is no leak.
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        const QV::hardware_info expected = QV::get_hardware_info();
        (void)QV::get_hardware_info();
        const unsigned long before = open_handles();
        for (int i = 0; i < 1000; ++i) {
            const QV::hardware_info info = QV::get_hardware_info();
            ASSERT_EQ(info.manufacturer, expected.manufacturer);
            ASSERT_EQ(info.model, expected.model);
        }
        EXPECT_LE(open_handles(), before);
        CoUninitialize();
    }).join();
}

} // namespace
