// One misuse at a time, chosen by a definition; the build has to refuse it with a message that helps.
#include <QVSharedSupport/cf_conversions.h>

int main() {
#if defined(CASE_make_cf_type_of_unknown_type)
    return QV::make_cf_type_t<int*>{}(nullptr) ? 1 : 0;
#elif defined(CASE_from_cf_type_of_unknown_type)
    return QV::from_cf_type_t<float>{}(CF::Number(1)) > 0 ? 1 : 0;
#elif defined(CASE_validate_name_of_unknown_type)
    return CF::validate_name<CF::Date>("NSDate") ? 1 : 0;
#elif defined(CASE_string_from_wchar)
    return CF::String(L"wide") ? 1 : 0;
#endif
}
