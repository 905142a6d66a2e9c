// Puts an arbitrary value together, writes it as XML and reads it: the same value must come back.
#include <CFAdapters/CFAdapters.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// The fuzzer's bytes, taken from the front.
class byte_source {
public:
    explicit byte_source(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::uint8_t take() {
        if (bytes_.empty()) return 0;
        const std::uint8_t first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }
    std::span<const std::uint8_t> take(std::size_t count) {
        const auto taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }
    std::uint64_t take_bits() {
        std::uint64_t bits = 0;
        for (const std::uint8_t byte : take(sizeof bits))
            bits = bits << 8 | byte;
        return bits;
    }

private:
    std::span<const std::uint8_t> bytes_;
};

CF::String make_text(byte_source& source) {
    const auto bytes = source.take(source.take() % 64);
    const CF::String text(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    // What is not UTF-8 is ISO Latin 1, as anything is.
    return text ? text
                : CF::String::adopt(CFStringCreateWithBytes(kCFAllocatorDefault, bytes.data(),
                                                            static_cast<CFIndex>(bytes.size()),
                                                            kCFStringEncodingISOLatin1, 0));
}

CF::AutoPointer make_real(byte_source& source) {
    const auto real = std::bit_cast<double>(source.take_bits());
    // Not-a-number equals nothing, itself included; zero is written without its sign.
    return CF::Number(std::isnan(real) || real == 0 ? 0.5 : real);
}

// Written in whole seconds, with a year of four digits.
CF::AutoPointer make_date(byte_source& source) {
    return CF::Date(static_cast<double>(source.take_bits() % 100'000'000'000));
}

CF::AutoPointer make_value(byte_source& source, int levels) {
    const int kind = source.take() % (levels == 0 ? 6 : 8);
    switch (kind) {
    case 0:
        return make_text(source);
    case 1:
        return CF::Number(static_cast<long long>(source.take_bits()));
    case 2:
        return make_real(source);
    case 3:
        return CF::Boolean(source.take() % 2 == 0);
    case 4:
        return make_date(source);
    case 5:
        return CF::Data(std::as_bytes(source.take(source.take())));
    default:
        break;
    }
    std::vector<CF::AutoPointer> elements;
    CF::MutableDictionary members = CF::MutableDictionary::create();
    for (int count = source.take() % 8; count > 0; --count) {
        if (kind == 6) {
            elements.push_back(make_value(source, levels - 1));
        } else {
            const CF::String name = make_text(source); // first, whatever order a compiler gives arguments
            members.set(name, make_value(source, levels - 1));
        }
    }
    return kind == 6 ? CF::AutoPointer(CF::Array::from(elements)) : CF::AutoPointer(members);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    byte_source source({bytes, size});
    const CF::AutoPointer value = make_value(source, 8);
    const CF::Data written = CF::Data::adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, value.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!written) return 0;
    const CF::AutoPointer again = CF::AutoPointer::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, written.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!again || !CFEqual(value.get(), again.get())) std::abort();
    return 0;
}
