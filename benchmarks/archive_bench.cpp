// How fast values are archived, unarchived, written, sanitised and redacted, and whether that stays linear:
// objects per second for graphs of a thousand to a hundred thousand objects.
#include <QVSharedSupport/keyed_archiver.h>
#include <QVSharedSupport/keyed_unarchiver.h>
#include <QVSharedSupport/redact_passwords.h>
#include <QVSharedSupport/sanitize.h>

#include <CFAdapters/CFAdapters.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

/// About `count` objects: records of a name, a number and a list.
CF::Array graph(int count) {
    std::vector<CF::AutoPointer> records;
    for (int index = 0; index < count / 5; ++index)
        records.emplace_back(CF::Dictionary::of(
            {{"name", CF::String("record " + std::to_string(index))},
             {"number", CF::Number(1000 + index)},
             {"list", CF::Array::of(CF::String("entry " + std::to_string(index)), CF::Number(0.5 + index))},
             {"password", CF::String("secret")}}));
    return CF::Array::from(records);
}

/// The best of three, in seconds of processor time: what else the machine does is of no interest.
template <class Function>
double seconds(Function function) {
    std::clock_t best = 0;
    for (int round = 0; round < 3; ++round) {
        const std::clock_t start = std::clock();
        function();
        const std::clock_t taken = std::clock() - start;
        if (round == 0 || taken < best) best = taken;
    }
    return static_cast<double>(best) / CLOCKS_PER_SEC;
}

CF::Data written(const CF::Type& value, CFPropertyListFormat format) {
    return CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, value.get(), format, 0, nullptr));
}
CF::AutoPointer read(const CF::Data& data) {
    return CF::AutoPointer::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                               kCFPropertyListImmutable, nullptr, nullptr));
}

void show(const char* what, int count, double taken) {
    std::printf("  %-14s %9.2f ms  %10.0f objects/s\n", what, taken * 1e3, count / taken);
}

void run(int count) {
    const CF::Array value = graph(count);
    QV::keyed_archiver archiver;
    archiver.encode(value, "root");
    const CF::Dictionary archive = archiver.finishEncoding();
    const int objects = static_cast<int>(archive.get<CF::Array>("$objects").size());
    std::printf("%d objects\n", objects);
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
    show("write binary", objects, seconds([&] { written(archive, kCFPropertyListBinaryFormat_v1_0); }));
    show("read binary", objects, seconds([&] { read(binary); }));
    show("sanitise", objects, seconds([&] { QV::sanitize_for_xml(value, QV::on_error::throw_error); }));
    show("redact", objects, seconds([&] { (void)QV::redact_passwords(value).get_redacted(); }));
}

} // namespace

int main() {
    for (const int count : {1'000, 10'000, 100'000})
        run(count);
    return EXIT_SUCCESS;
}
