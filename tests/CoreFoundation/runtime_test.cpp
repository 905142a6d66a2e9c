// What holds for objects of every type: counting, destroying, comparing, allocators, want of memory.
#include "objects.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using namespace objects;

TEST(Runtime, CountsFromManyThreads) {
    const auto shared = array();
    CFArrayAppendValue(shared.get(), string("some text").get());
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&shared, &wrong] {
            for (int n = 0; n < 20000; ++n) {
                CFTypeRef value = CFRetain(CFArrayGetValueAtIndex(shared.get(), 0));
                if (CFStringGetLength(static_cast<CFStringRef>(value)) != 9) ++wrong;
                if (CFHash(value) == 0 || CFSTR("one for all") != CFSTR("one for all")) ++wrong;
                CFRelease(value);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(CFGetRetainCount(CFArrayGetValueAtIndex(shared.get(), 0)), 1);
}

TEST(Runtime, LastThreadDestroys) {
    static std::atomic<int> destroyed;
    destroyed = 0;
    CFArrayCallBacks callbacks{};
    callbacks.release = [](CFAllocatorRef, const void*) { ++destroyed; };
    CFMutableArrayRef counted = CFArrayCreateMutable(nullptr, 0, &callbacks);
    CFArrayAppendValue(counted, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        CFRetain(counted);
        threads.emplace_back([counted] { CFRelease(counted); });
    }
    CFRelease(counted);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(destroyed, 1);
}

constexpr int very_deep = 1'000'000;

TEST(Runtime, DestroysDeepArraysWithoutStack) {
    owned<CFTypeRef> inner = own<CFTypeRef>(array().release());
    for (int i = 0; i < very_deep; ++i) {
        CFTypeRef value = inner.get();
        inner = own<CFTypeRef>(CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks));
    }
    EXPECT_EQ(CFGetRetainCount(inner.get()), 1);
}

TEST(Runtime, DestroysLongErrorChainsWithoutStack) {
    owned<CFErrorRef> error;
    for (int i = 0; i < very_deep / 4; ++i) {
        const void* key = kCFErrorUnderlyingErrorKey;
        const void* value = error.get();
        error =
            own(CFErrorCreateWithUserInfoKeysAndValues(nullptr, CFSTR("D"), i, &key, &value, error ? 1 : 0));
    }
    EXPECT_EQ(CFErrorGetCode(error.get()), very_deep / 4 - 1);
    EXPECT_FALSE(utf8_of(CFCopyDescription(error.get())).empty());
}

owned<CFTypeRef> nested_arrays(int depth, CFTypeRef innermost) {
    owned<CFTypeRef> inner = own(CFRetain(innermost));
    for (int i = 0; i < depth; ++i) {
        const void* value = inner.get();
        inner = own<CFTypeRef>(CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks));
    }
    return inner;
}

owned<CFTypeRef> nested_dictionaries(int depth, CFTypeRef innermost) {
    owned<CFTypeRef> inner = own(CFRetain(innermost));
    for (int i = 0; i < depth; ++i) {
        const void* key = CFSTR("k");
        const void* value = inner.get();
        inner = own<CFTypeRef>(CFDictionaryCreate(nullptr, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks,
                                                  &kCFTypeDictionaryValueCallBacks));
    }
    return inner;
}

TEST(Runtime, ComparesDeepContainersWithoutStack) {
    const auto one = string("x");
    const auto same = string("x");
    const auto other = string("y");
    EXPECT_TRUE(CFEqual(nested_arrays(200000, one.get()).get(), nested_arrays(200000, same.get()).get()));
    EXPECT_FALSE(CFEqual(nested_arrays(200000, one.get()).get(), nested_arrays(200000, other.get()).get()));
    EXPECT_TRUE(
        CFEqual(nested_dictionaries(200000, one.get()).get(), nested_dictionaries(200000, same.get()).get()));
    EXPECT_FALSE(CFEqual(nested_dictionaries(200000, one.get()).get(),
                         nested_dictionaries(200000, other.get()).get()));
}

TEST(Runtime, ComparingCyclesEnds) {
    const auto a = array();
    const auto b = array();
    CFArrayAppendValue(a.get(), a.get());
    CFArrayAppendValue(b.get(), b.get());
    EXPECT_FALSE(CFEqual(a.get(), b.get()));
    EXPECT_TRUE(CFEqual(a.get(), a.get()));
    CFArrayRemoveAllValues(a.get());
    CFArrayRemoveAllValues(b.get());
}

TEST(Runtime, DescribingDeepContainersEnds) {
    EXPECT_FALSE(utf8_of(CFCopyDescription(nested_arrays(100000, kCFNull).get())).empty());
    const auto set = own(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
    CFSetAddValue(set.get(), nested_arrays(1000, kCFNull).get());
    EXPECT_TRUE(CFSetContainsValue(set.get(), nested_arrays(1000, kCFNull).get()));
}

// An allocator that counts what is out, and can run dry.
struct counting_allocator {
    long out = 0;
    long allowed = std::numeric_limits<long>::max();
    owned<CFAllocatorRef> allocator;

    counting_allocator() {
        CFAllocatorContext context{};
        context.info = this;
        context.allocate = [](CFIndex size, CFOptionFlags, void* info) -> void* {
            auto& self = *static_cast<counting_allocator*>(info);
            if (self.allowed <= 0) return nullptr;
            --self.allowed;
            ++self.out;
            return std::malloc(static_cast<std::size_t>(size));
        };
        context.reallocate = [](void* block, CFIndex size, CFOptionFlags, void* info) -> void* {
            auto& self = *static_cast<counting_allocator*>(info);
            if (self.allowed <= 0) return nullptr;
            --self.allowed;
            return std::realloc(block, static_cast<std::size_t>(size));
        };
        context.deallocate = [](void* block, void* info) {
            --static_cast<counting_allocator*>(info)->out;
            std::free(block);
        };
        allocator = own(CFAllocatorCreate(nullptr, &context));
    }
};

using maker = std::function<CFTypeRef(CFAllocatorRef)>;

// Everything that can be made, each with what it needs made beforehand.
std::vector<std::pair<const char*, maker>> makers() {
    static const std::array<const void*, 12> values = [] {
        std::array<const void*, 12> made{};
        int i = 1000;
        for (const void*& value : made) {
            value = CFNumberCreate(nullptr, kCFNumberIntType, &i);
            ++i;
        }
        return made;
    }();
    static std::array<const void*, 12> list = values;
    return {
        {"ASCII string",
         [](CFAllocatorRef a) { return CFStringCreateWithCString(a, "text", kCFStringEncodingUTF8); }},
        {"wide string",
         [](CFAllocatorRef a) { return CFStringCreateWithCString(a, "\xC3\xA9", kCFStringEncodingUTF8); }},
        {"mutable string", [](CFAllocatorRef a) { return CFStringCreateMutableCopy(a, 0, CFSTR("text")); }},
        {"string in place",
         [](CFAllocatorRef a) {
             return CFStringCreateWithCStringNoCopy(a, "text", kCFStringEncodingUTF8, kCFAllocatorNull);
         }},
        {"formatted string",
         [](CFAllocatorRef a) { return CFStringCreateWithFormat(a, nullptr, CFSTR("%d"), 5); }},
        {"joined string",
         [](CFAllocatorRef a) {
             const void* part = CFSTR("part");
             const auto parts = own(CFArrayCreate(nullptr, &part, 1, &kCFTypeArrayCallBacks));
             return CFStringCreateByCombiningStrings(a, parts.get(), CFSTR(","));
         }},
        {"split string",
         [](CFAllocatorRef a) {
             return CFStringCreateArrayBySeparatingStrings(a, CFSTR("a,b,c,d"), CFSTR(","));
         }},
        {"external text",
         [](CFAllocatorRef a) {
             return CFStringCreateExternalRepresentation(a, CFSTR("text"), kCFStringEncodingUTF16, 0);
         }},
        {"number",
         [](CFAllocatorRef a) {
             const int five = 5;
             return CFNumberCreate(a, kCFNumberIntType, &five);
         }},
        {"date", [](CFAllocatorRef a) { return CFDateCreate(a, 1.5); }},
        {"data", [](CFAllocatorRef a) { return CFDataCreate(a, reinterpret_cast<const UInt8*>("abc"), 3); }},
        {"array", [](CFAllocatorRef a) { return CFArrayCreate(a, list.data(), 12, &kCFTypeArrayCallBacks); }},
        {"array with call-backs",
         [](CFAllocatorRef a) {
             CFArrayCallBacks callbacks = kCFTypeArrayCallBacks;
             callbacks.copyDescription = nullptr;
             return CFArrayCreate(a, list.data(), 12, &callbacks);
         }},
        {"dictionary",
         [](CFAllocatorRef a) {
             return CFDictionaryCreate(a, list.data(), list.data(), 12, &kCFTypeDictionaryKeyCallBacks,
                                       &kCFTypeDictionaryValueCallBacks);
         }},
        {"dictionary of copied strings",
         [](CFAllocatorRef a) {
             const auto key = mutable_string("key");
             const void* name = key.get();
             return CFDictionaryCreate(a, &name, list.data(), 1, &kCFCopyStringDictionaryKeyCallBacks,
                                       &kCFTypeDictionaryValueCallBacks);
         }},
        {"dictionary copy",
         [](CFAllocatorRef a) {
             const auto original = own(CFDictionaryCreate(nullptr, list.data(), list.data(), 12,
                                                          &kCFTypeDictionaryKeyCallBacks, nullptr));
             return CFDictionaryCreateCopy(a, original.get());
         }},
        {"set", [](CFAllocatorRef a) { return CFSetCreate(a, list.data(), 12, &kCFTypeSetCallBacks); }},
        {"error",
         [](CFAllocatorRef a) {
             return static_cast<CFTypeRef>(CFErrorCreate(a, CFSTR("domain"), 1, nullptr));
         }},
        {"URL", [](CFAllocatorRef a) { return CFURLCreateWithString(a, CFSTR("http://a/"), nullptr); }},
        {"UUID", [](CFAllocatorRef a) { return CFUUIDCreate(a); }},
    };
}

TEST(Runtime, WantOfMemoryGivesNullAndLeaksNothing) {
    for (const auto& [name, make] : makers()) {
        counting_allocator memory;
        CFTypeRef made = nullptr;
        int failures = 0;
        for (long allowed = 0; made == nullptr; ++allowed) {
            memory.allowed = allowed;
            made = make(memory.allocator.get());
            if (made != nullptr) break;
            ++failures;
            EXPECT_EQ(memory.out, 0) << name << " with " << allowed << " allocations";
            ASSERT_LT(allowed, 100) << name;
        }
        EXPECT_GT(failures, 0) << name << " was made without memory";
        EXPECT_EQ(CFGetAllocator(made), memory.allocator.get()) << name;
        memory.allowed = std::numeric_limits<long>::max();
        CFRelease(made);
        EXPECT_EQ(memory.out, 0) << name;
        EXPECT_EQ(CFGetRetainCount(memory.allocator.get()), 1) << name;
    }
}

TEST(Runtime, WantOfMemoryLeavesMutableObjectsAsTheyWere) {
    counting_allocator memory;
    CFAllocatorRef allocator = memory.allocator.get();
    {
        const auto text = own(CFStringCreateMutableCopy(allocator, 0, CFSTR("text")));
        const auto values = own(CFArrayCreateMutable(allocator, 0, &kCFTypeArrayCallBacks));
        const auto entries = own(CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks,
                                                           &kCFTypeDictionaryValueCallBacks));
        const auto bytes = own(CFDataCreateMutable(allocator, 0));
        memory.allowed = 0;
        CFStringAppend(text.get(), CFSTR("\xC3\xA9"));
        CFStringPad(text.get(), CFSTR("x"), 1000, 0);
        CFArrayAppendValue(values.get(), kCFNull);
        CFDictionarySetValue(entries.get(), CFSTR("k"), kCFNull);
        CFDataSetLength(bytes.get(), 1000);
        EXPECT_EQ(utf8(text.get()), "text");
        EXPECT_EQ(CFArrayGetCount(values.get()), 0);
        EXPECT_EQ(CFDictionaryGetCount(entries.get()), 0);
        EXPECT_EQ(CFDataGetLength(bytes.get()), 0);
        memory.allowed = 100;
        CFStringAppend(text.get(), CFSTR("\xC3\xA9"));
        CFDictionarySetValue(entries.get(), CFSTR("k"), kCFNull);
        EXPECT_EQ(utf8(text.get()), "text\xC3\xA9");
        EXPECT_EQ(CFDictionaryGetCount(entries.get()), 1);
    }
    EXPECT_EQ(memory.out, 0);
}

TEST(Runtime, DefaultAllocatorIsTheThreads) {
    counting_allocator memory;
    // What becomes a default stays retained, so that its memory has to stay as well.
    CFAllocatorContext context{};
    CFAllocatorGetContext(memory.allocator.get(), &context);
    std::thread([allocator = memory.allocator.get()] {
        CFAllocatorSetDefault(allocator);
        EXPECT_EQ(CFAllocatorGetDefault(), allocator);
        const auto text = own(CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8));
        EXPECT_EQ(CFGetAllocator(text.get()), allocator);
    }).join();
    EXPECT_EQ(memory.out, 0);
    EXPECT_EQ(CFAllocatorGetDefault(), kCFAllocatorSystemDefault);
    EXPECT_EQ(CFGetRetainCount(memory.allocator.get()), 2);
    CFRelease(memory.allocator.get());
}

TEST(Runtime, AllocatorMadeOfItsOwnContext) {
    static int released;
    released = 0;
    CFAllocatorContext context{};
    context.allocate = [](CFIndex size, CFOptionFlags, void*) {
        return std::malloc(static_cast<std::size_t>(size));
    };
    context.deallocate = [](void* block, void*) { std::free(block); };
    context.info = &released;
    context.retain = [](const void* info) { return info; };
    context.release = [](const void*) { ++released; };
    CFAllocatorRef allocator = CFAllocatorCreate(kCFAllocatorUseContext, &context);
    ASSERT_NE(allocator, nullptr);
    void* block = CFAllocatorAllocate(allocator, 8, 0);
    EXPECT_NE(block, nullptr);
    CFAllocatorDeallocate(allocator, block);
    CFRelease(allocator);
    EXPECT_EQ(released, 1);
    EXPECT_EQ(CFAllocatorCreate(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFAllocatorAllocate(nullptr, 0, 0), nullptr);
    EXPECT_EQ(CFAllocatorAllocate(kCFAllocatorNull, 8, 0), nullptr);
}

TEST(Runtime, NothingForNull) {
    EXPECT_EQ(CFGetTypeID(nullptr), CFTypeID{0});
    EXPECT_EQ(CFHash(nullptr), CFHashCode{0});
    EXPECT_TRUE(CFEqual(nullptr, nullptr));
    EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFGetAllocator(nullptr), kCFAllocatorSystemDefault);
    CFRelease(nullptr);
    CFShow(nullptr);
    EXPECT_EQ(CFArrayGetCount(nullptr), 0);
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
    EXPECT_EQ(CFNumberGetType(nullptr), 0);
    EXPECT_EQ(CFURLGetString(nullptr), nullptr);
    EXPECT_EQ(CFSetGetValue(nullptr, kCFNull), nullptr);
}

} // namespace
