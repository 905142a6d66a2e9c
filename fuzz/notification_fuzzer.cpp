// Feeds arbitrary bytes to the reader of notifications; what it takes is written and read back.
#include <QVSharedSupport/notification.h>
#include <QVSharedSupport/redact_passwords.h>
#include <QVSharedSupport/sanitize.h>

#include <boost/system/system_error.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    try {
        const QV::notification message = QV::parse({bytes, bytes + size});
        (void)QV::redact_passwords(message.contents).get_redacted();
        (void)QV::sanitize_for_xml(message.contents, QV::on_error::leave_out);
        (void)QV::parse(QV::serialise(message));
    } catch (const boost::system::system_error&) { // NOLINT(bugprone-empty-catch): refused, as documented
    }
    return 0;
}
