// Feeds arbitrary property lists to the unarchiver, as plain values and as native types.
#include <QVSharedSupport/keyed_unarchiver.h>

#include <CFAdapters/CFAdapters.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

template <class Function>
void refused_as_documented(Function function) {
    try {
        function();
    } catch (const QV::archiver_exceptions::archive_error&) { // NOLINT(bugprone-empty-catch)
    } catch (const std::invalid_argument&) {                  // NOLINT(bugprone-empty-catch)
    }
}

template <class T>
void decode(const CF::Dictionary& archive) {
    refused_as_documented([&] { (void)QV::keyed_unarchiver::open(archive).decode<T>("root"); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const CF::Data data(std::as_bytes(std::span(bytes, size)));
    const CF::Dictionary archive = CF::Dictionary::adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    refused_as_documented([&] { (void)QV::unarchive(archive); });
    refused_as_documented([&] { (void)QV::unarchive(archive, QV::unknown_classes::keep); });
    decode<std::vector<std::map<std::string, double>>>(archive);
    decode<std::map<std::string, std::vector<std::string>>>(archive);
    decode<int>(archive);
    return 0;
}
