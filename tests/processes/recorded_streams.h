#pragma once

#include <CFAdapters/CFAdapters.h>

#include <rapidjson/document.h>

#include <filesystem>
#include <string>
#include <vector>

/// A recorded message stream and what is in it.
struct recorded_stream {
    std::filesystem::path path;
    std::string bytes;
    /// One for each "</plist>", in order: the message that ends there.
    struct frame {
        std::string bytes;
        bool is_message = false; ///< a dictionary with a string "Type"
        std::string type;
        bool has_value = false; ///< whether there is a "Value"
        /// The recorded "Value"; null where there is none and where it is not recorded.
        const rapidjson::Value* value = nullptr;
        bool recorded = false; ///< whether the recording knows a message with exactly these bytes
    };
    std::vector<frame> frames;
    rapidjson::Document document; // `frames` refers to it
};

/// All recorded streams: those of this project, and those of the full collection where it lies beside the
/// checkout or is named by QV_TEST_DATA.
std::vector<std::filesystem::path> recorded_stream_files();

/// Reads `path` and what is recorded about it.
recorded_stream load_recorded_stream(const std::filesystem::path& path);

/// The plans of `chunk_plans.json`: name, and sizes joined by commas.
std::vector<std::pair<std::string, std::string>> chunk_plans();

/// Whether a CoreFoundation value is what was recorded.
bool same_value(CFTypeRef value, const rapidjson::Value& recorded);
