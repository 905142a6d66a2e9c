// How fast values are archived, unarchived, written, sanitised and redacted, and whether that stays linear:
// objects per second for graphs of a thousand to a hundred thousand objects, how much dearer an object is in
// the largest than in the smallest, and binary lists beside libplist where that is installed.
#include "binary_peer.h"
#include "processor_time.h"

#include <QVSharedSupport/keyed_archiver.h>
#include <QVSharedSupport/keyed_unarchiver.h>
#include <QVSharedSupport/redact_passwords.h>
#include <QVSharedSupport/sanitize.h>

#include <CFAdapters/CFAdapters.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

using bench::seconds;

/// About `count` objects: records of a name, a number, a list and a password, eleven objects each with the
/// keys.
CF::Array graph(int count) {
    std::vector<CF::AutoPointer> records;
    for (int index = 0; index < count / 11; ++index)
        records.emplace_back(CF::Dictionary::of(
            {{"name", CF::String("record " + std::to_string(index))},
             {"number", CF::Number(1000 + index)},
             {"list", CF::Array::of(CF::String("entry " + std::to_string(index)), CF::Number(0.5 + index))},
             {"password", CF::String("secret")}}));
    return CF::Array::from(records);
}

CF::Data written(const CF::Type& value, CFPropertyListFormat format) {
    return CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, value.get(), format, 0, nullptr));
}
CF::AutoPointer read(const CF::Data& data) {
    return CF::AutoPointer::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                               kCFPropertyListImmutable, nullptr, nullptr));
}

/// Nanoseconds an object, of each thing that is measured, for the smallest graph.
std::map<std::string, double> smallest;

void show(const char* what, int count, double taken) {
    const double each = taken * 1e9 / count;
    const double first = smallest.emplace(what, each).first->second;
    std::printf("  %-14s %9.2f ms  %10.0f objects/s  %6.0f ns an object, %4.2f times that of the smallest\n",
                what, taken * 1e3, count / taken, each, each / first);
}

void show_peer(const CF::Data& binary, int count, double read, double written) {
    const auto bytes = binary.bytes();
    const auto peer = bench::binary_peer(bytes);
    if (!peer) return;
    std::printf(
        "  libplist: read binary %.2f ms, we are %.2f times as fast; write binary %.2f ms, %.2f times "
        "(%d objects)\n",
        peer->read * 1e3, peer->read / read, peer->write * 1e3, peer->write / written, count);
}

void run(int count) {
    const CF::Array value = graph(count);
    QV::keyed_archiver archiver;
    archiver.encode(value, "root");
    const CF::Dictionary archive = archiver.finishEncoding();
    const int objects = static_cast<int>(archive.get<CF::Array>("$objects").size());
    std::printf("%d objects, %.1f bytes each in a binary list\n", objects,
                static_cast<double>(written(archive, kCFPropertyListBinaryFormat_v1_0).size()) / objects);
    show("archive", objects, seconds([&] {
             QV::keyed_archiver fresh;
             fresh.encode(value, "root");
             if (!fresh.finishEncoding()) std::abort();
         }));
    show("unarchive", objects, seconds([&] {
             if (!QV::unarchive(archive)) std::abort();
         }));
    const CF::Data xml = written(archive, kCFPropertyListXMLFormat_v1_0);
    const CF::Data binary = written(archive, kCFPropertyListBinaryFormat_v1_0);
    show("write XML", objects, seconds([&] { written(archive, kCFPropertyListXMLFormat_v1_0); }));
    show("read XML", objects, seconds([&] { read(xml); }));
    const double writing = seconds([&] { written(archive, kCFPropertyListBinaryFormat_v1_0); });
    const double reading = seconds([&] { read(binary); });
    show("write binary", objects, writing);
    show("read binary", objects, reading);
    show_peer(binary, objects, reading, writing);
    show("sanitise", objects, seconds([&] { QV::sanitize_for_xml(value, QV::on_error::throw_error); }));
    show("redact", objects, seconds([&] { (void)QV::redact_passwords(value).get_redacted(); }));
}

// A value of which the XML takes a megabyte.
void run_megabyte() {
    constexpr double megabyte = 1e6;
    int count = 1000;
    CF::Array value = graph(count);
    while (static_cast<double>(written(value, kCFPropertyListXMLFormat_v1_0).size()) < megabyte) {
        count += count / 4;
        value = graph(count);
    }
    const double bytes = static_cast<double>(written(value, kCFPropertyListXMLFormat_v1_0).size());
    const double sanitising = seconds([&] { QV::sanitize_for_xml(value, QV::on_error::throw_error); });
    const double redacting = seconds([&] { (void)QV::redact_passwords(value).get_redacted(); });
    std::printf("a value of %.2f MB of XML\n  sanitise %.2f ms (%.0f MB/s), redact %.2f ms (%.0f MB/s)\n",
                bytes / megabyte, sanitising * 1e3, bytes / sanitising / megabyte, redacting * 1e3,
                bytes / redacting / megabyte);
}

} // namespace

int main() {
    for (const int count : {1'000, 10'000, 100'000})
        run(count);
    run_megabyte();
    return EXIT_SUCCESS;
}
