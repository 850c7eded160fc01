// CFPropertyList.h - XML property lists: a streaming reader and a writer.
//
// The reader streams the document through expat straight into values, with no intermediate
// tree: repeated dictionary keys share one string, empty strings share a constant, and memory
// stays near the size of the values themselves. It accepts dict, array, key, string, integer,
// real, true, false, date and data elements under an optional <plist> root; documents that
// declare entities, nest deeper than 512 containers or break the grammar are refused.
#pragma once

#include "cf/CFBase.h"
#include "cf/CFReadStream.h"

#include <string>
#include <string_view>

// Why a document was refused, and where: line and column (both from 1, the column counted in
// characters) of the point where reading stopped.
struct CFPropertyListError {
    unsigned long line = 0;
    unsigned long column = 0;
    std::string reason; // e.g. "not well-formed (invalid token)", "unknown element <foo>"
    // "REASON at line L, column C".
    std::string text() const;
};

// Reads an XML property list from an open stream to its end. Returns the root value, which the
// caller must release, or null when the bytes are not a valid property list; then *error (when
// given) says why and where.
CFTypeRef CFPropertyListCreateFromStream(CFReadStreamRef stream, CFPropertyListError* error);
// The same with the error as one line of text (CFPropertyListError::text).
CFTypeRef CFPropertyListCreateFromStream(CFReadStreamRef stream, std::string* error = nullptr);
// The same for bytes in memory.
CFTypeRef CFPropertyListCreateFromXMLData(std::string_view xml, CFPropertyListError* error);
CFTypeRef CFPropertyListCreateFromXMLData(std::string_view xml, std::string* error = nullptr);

// The XML property-list document for value: strings, numbers, booleans, dates, data, arrays
// and dictionaries with string keys (written in sorted key order). Characters that XML 1.0
// cannot carry (control characters other than tab, line feed and carriage return) are dropped.
std::string CFPropertyListCreateXMLText(CFTypeRef value);
