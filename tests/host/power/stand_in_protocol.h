#pragma once

/// How a test and the program that stands in for msinfo32 understand each other: the program does what an
/// environment variable says, and tells its number through a mapped file of that name.
namespace stand_in {

inline constexpr wchar_t behaviour_variable[] = L"QV_STAND_IN_BEHAVIOUR";
inline constexpr wchar_t mapping_variable[] = L"QV_STAND_IN_MAPPING";

/// What is in the mapping. The event of the same name with "+ready" at its end tells that it was written;
/// that with "+leave" that whoever stays is to end.
struct notice {
    unsigned long process;
};

} // namespace stand_in
