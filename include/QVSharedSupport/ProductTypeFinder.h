#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Dictionary.h>
#include <CFAdapters/String.h>

#include <boost/filesystem/path.hpp>

#include <string>

namespace QV::SharedSupport {

/// Translates between the numbers that a device reports in DFU or Recovery mode and the product type, such as
/// "iPhone15,2", that names its model.
///
/// There is one table for each mode in the process, both empty until a version info file is loaded. That is a
/// property list, in any format, whose root has a dictionary "MobileDeviceProductTypes" with the dictionaries
/// "DFU" and "Recovery"; there the keys are decimal numbers and the values product types.
///
///     ProductTypeFinder::loadFromFile(folder / ProductTypeFinder::AppleVersionInfoFilenameDefault);
///     const std::string model = ProductTypeFinder::getDFUDeviceType(number);
///
/// Thread safety: any thread may look up while another loads. Both tables change at once, under one lock;
/// a lookup waits for no more than that. `loadFromFile` reads the disk, nothing else blocks.
class ProductTypeFinder {
public:
    ProductTypeFinder() = delete;

    /// "version.xml", the usual name of the version info file.
    QV_EXPORT static const std::string AppleVersionInfoFilenameDefault;

    /// Replaces both tables by what `root` holds, and logs the size of each at level `notice`.
    ///
    /// Of a number or product type that occurs twice, the first occurrence wins. An entry without both is
    /// skipped: one whose key does not begin with a number, or whose value is empty or no string. Blanks and
    /// a sign before the number, and anything after it, are accepted.
    /// @throws std::runtime_error "version info has no dictionary 'NAME'" if one of the three is missing or
    ///     is something else; the tables stay as they were
    /// @throws std::out_of_range "stoi argument out of range" if a number is beyond 32 bits with a sign. The
    ///     table that has it stays as it was; that of DFU has been replaced if the number is one of Recovery.
    /// @throws std::bad_alloc and the tables stay as they were
    QV_EXPORT static void load(const CF::Dictionary& root);

    /// Loads the file of that name, at most 1 GiB of it. Windows only.
    ///
    /// The path is narrowed by the file-system library's default conversion and then read as UTF-8. Outside
    /// ASCII the two agree only in a program that has made UTF-8 that conversion
    /// (`boost::filesystem::path::imbue`).
    /// @throws CF::Error of `kErrorDomain` with code `CannotRetrieveResource` and the reason "Could not load
    ///     product types from file: " and what went wrong: the file cannot be read or is too large, "version
    ///     info file contains no elements" if it is no property list with anything in its root dictionary, or
    ///     what `load` throws. The tables stay as they were, but for what `load` says.
    /// @throws std::bad_alloc if there is not even memory for that error
    QV_EXPORT static void loadFromFile(const boost::filesystem::path& path);
    /// The same.
    QV_EXPORT static void loadFromFile(CF::String path);

    /// The product type of a device in DFU mode. @throws std::out_of_range "bimap<>: invalid key"
    QV_EXPORT static std::string getDFUDeviceType(unsigned int number);
    /// The number of a product type in DFU mode. Letter case matters.
    /// @throws std::out_of_range "Can't find device " and the type
    QV_EXPORT static unsigned int getDFUProductType(const std::string& type);
    /// The product type of a device in Recovery mode. @throws std::out_of_range "bimap<>: invalid key"
    QV_EXPORT static std::string getRecoveryDeviceType(unsigned int number);
    /// The number of a product type in Recovery mode. Letter case matters.
    /// @throws std::out_of_range "Can't find device " and the type
    QV_EXPORT static unsigned int getRecoveryProductType(const std::string& type);
};

} // namespace QV::SharedSupport
