#pragma once

#include <string>
#include <string_view>

/// An XML property list with `body` as its root, as a helper writes it, without a line break at the end.
inline std::string property_list(std::string_view body) {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n")
        .append(body)
        .append("\n</plist>");
}

/// A message with a string for its value.
inline std::string message_text(std::string_view type, std::string_view value) {
    std::string body = "<dict><key>Type</key><string>";
    body.append(type).append("</string><key>Value</key><string>").append(value).append("</string></dict>");
    return property_list(body);
}
