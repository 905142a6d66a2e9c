// Writes archives of known values into a folder, each as XML and binary: write_archives FOLDER
#include <QVSharedSupport/keyed_archiver.h>

#include <CFAdapters/CFAdapters.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

std::filesystem::path folder;

void write(const std::string& name, QV::keyed_archiver& archiver) {
    const CF::Dictionary archive = archiver.finishEncoding();
    const std::pair<const char*, CFPropertyListFormat> formats[] = {
        {".xml", kCFPropertyListXMLFormat_v1_0}, {".binary", kCFPropertyListBinaryFormat_v1_0}};
    for (const auto& [suffix, format] : formats) {
        const CF::Data data =
            CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, archive.get(), format, 0, nullptr));
        std::ofstream file(folder / (name + suffix), std::ios::binary);
        file.write(reinterpret_cast<const char*>(data.bytes().data()),
                   static_cast<std::streamsize>(data.size()));
        if (!data || !file) std::exit(EXIT_FAILURE);
    }
}

void write_strings() {
    QV::keyed_archiver archiver;
    archiver.encode(std::string("plain"), "ascii");
    archiver.encode(std::string(), "empty");
    archiver.encode(std::string("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"), "unicode");
    archiver.encode(std::string("<a> & \"b\"\n"), "markup");
    archiver.encode(std::string("dollar"), "$key");
    archiver.encode(std::string("generic"), "");
    write("strings", archiver);
}

void write_numbers() {
    QV::keyed_archiver archiver;
    archiver.encode(0, "zero");
    archiver.encode(-1, "minus one");
    archiver.encode(std::numeric_limits<std::int64_t>::min(), "least");
    archiver.encode(std::numeric_limits<std::int64_t>::max(), "most");
    archiver.encode(0.1, "tenth");
    archiver.encode(-1.5e300, "large");
    write("numbers", archiver);
}

void write_containers() {
    const CF::Data bytes(std::as_bytes(std::span("\x00\x01\xFF", 3)));
    QV::keyed_archiver archiver;
    archiver.encode(CF::Dictionary::of({{"list", CF::Array::of(CF::Number(1), CF::String("two"),
                                                               CF::Array::of(), CF::Dictionary::of({}))},
                                        {"bytes", bytes},
                                        {"no bytes", CF::Data(std::span<const std::byte>())}}),
                    "root");
    archiver.encode(std::map<std::string, std::vector<int>>{{"a", {1, 2, 3}}, {"b", {}}}, "native");
    archiver.encode(std::optional<int>(), "null");
    write("containers", archiver);
}

// More objects than one byte counts, and references to one object from many places.
void write_many() {
    const CF::String shared("shared");
    std::vector<CF::AutoPointer> elements;
    for (int index = 0; index < 70'000; ++index)
        elements.push_back(index % 2 == 0 ? CF::AutoPointer(CF::Number(index)) : CF::AutoPointer(shared));
    QV::keyed_archiver archiver;
    archiver.encode(CF::Array::from(elements), "root");
    write("many", archiver);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: write_archives FOLDER\n", stderr);
        return EXIT_FAILURE;
    }
    folder = arguments[1];
    write_strings();
    write_numbers();
    write_containers();
    write_many();
    return EXIT_SUCCESS;
}
