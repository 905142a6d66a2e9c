#include <QVSharedSupport/JSON.h>

namespace QV {

double make_json_type_t<signed char>::operator()(signed char value) const {
    return value;
}
double make_json_type_t<unsigned char>::operator()(unsigned char value) const {
    return value;
}
double make_json_type_t<short>::operator()(short value) const {
    return value;
}
double make_json_type_t<unsigned short>::operator()(unsigned short value) const {
    return value;
}
double make_json_type_t<int>::operator()(int value) const {
    return value;
}
double make_json_type_t<unsigned int>::operator()(unsigned int value) const {
    return value;
}
double make_json_type_t<long long>::operator()(long long value) const {
    return static_cast<double>(value);
}
double make_json_type_t<unsigned long long>::operator()(unsigned long long value) const {
    return static_cast<double>(value);
}
double make_json_type_t<double>::operator()(double value) const {
    return value;
}
bool make_json_type_t<bool>::operator()(bool value) const {
    return value;
}
std::string make_json_type_t<std::string>::operator()(std::string value) const {
    return value;
}
std::string make_json_type_t<std::string_view>::operator()(std::string_view value) const {
    return std::string(value);
}
JsonObject make_json_type_t<JsonObject>::operator()(JsonObject value) const {
    return value;
}
JsonValue make_json_type_t<JsonValue>::operator()(JsonValue value) const {
    return value;
}

} // namespace QV
