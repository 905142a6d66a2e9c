// The hash table behind dictionaries and sets.
#ifndef COREFOUNDATION_SRC_TABLE_H
#define COREFOUNDATION_SRC_TABLE_H

#include "containers.h"

namespace cf {

/// Makes an empty table with room for `capacity` entries; null for want of memory. Call-backs that are those
/// of objects, of copied strings or of plain pointers are not stored again.
table* make_table(CFAllocatorRef allocator, type kind, CFIndex capacity, const table_callbacks& callbacks,
                  bool is_mutable);

/// Makes a table with the same entries and call-backs; null for want of memory.
table* copy_table(CFAllocatorRef allocator, const table& original, CFIndex capacity, bool is_mutable);

/// The entry for a key; null if there is none.
entry* find(const table& self, const void* key);

/// What to do when an entry for the key is there already, or is not.
enum class storing { add_only, replace_only, set };

/// Stores an entry. False if a key or value is refused and for want of memory: then nothing has changed.
bool store(table& self, const void* key, const void* value, storing rule);

void remove(table& self, const void* key);
void remove_all(table& self);

/// Whether two values are equal by the table's call-backs.
bool equal_values(const table& self, const void* a, const void* b);

/// The parts of type_info that dictionaries and sets share.
void finalize_table(object& self);
CFHashCode hash_table(const object& self);
CFStringRef describe_table(const object& self);

/// Whether keys are looked up in both tables in the same way.
bool same_keys(const table& a, const table& b);

/// Makes a table of objects of which the references are adopted.
table* create_table_adopting(CFAllocatorRef allocator, type kind, std::span<const CFTypeRef> keys,
                             std::span<const CFTypeRef> values, bool is_mutable, repeated_keys rule);

} // namespace cf

#endif
