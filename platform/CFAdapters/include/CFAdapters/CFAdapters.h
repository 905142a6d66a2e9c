/// C++ wrappers that own CoreFoundation objects.
///
///     CF::String name("iPhone");                                  // from UTF-8
///     CF::MutableDictionary message = CF::MutableDictionary::create();
///     message.set("Type", name);
///     CF::String type = message.get<CF::String>("Type");          // empty if absent or no string
///     for (const auto& [key, value] : message)
///         fmt::print("{} = {}\n", key, value);
///
/// A wrapper holds one reference: copying retains, destruction releases, moving steals. One made from a raw
/// reference retains it (the Get rule); what a function with Create or Copy in its name returns is taken over
/// with `adopt` (the Create rule). A typed wrapper holds an object of its type or nothing: made from anything
/// else it is empty. Every operation on an empty wrapper is defined, mostly as zero, empty or false.
///
/// Thread safety: as for `std::shared_ptr`. Different wrappers of one object may be used from different
/// threads, one wrapper may not be changed while another thread uses it, and mutable objects want a lock.
/// Nothing blocks.
#pragma once

#include <CFAdapters/Array.h>
#include <CFAdapters/Boolean.h>
#include <CFAdapters/Data.h>
#include <CFAdapters/Date.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/Error.h>
#include <CFAdapters/Number.h>
#include <CFAdapters/String.h>
#include <CFAdapters/Type.h>
#include <CFAdapters/format.h>
#include <CFAdapters/friendly.h>
