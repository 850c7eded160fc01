// plist_fuzzer.cpp - libFuzzer entry point: any bytes as a property-list document.
//
// Album files come from other computers, so the reader must refuse what it cannot read with a
// reason, never crash, hang or leak; a document read from memory and one read through a file
// stream give the same value; and what the writer makes of a value reads back to the same text.
#include "FuzzFiles.h"
#include "cf/CFPropertyList.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace {

// The document the writer makes of what the reader made of xml, or "(refused)".
std::string rewritten(CFTypeRef value) {
    if (!value) return "(refused)";
    std::string text = CFPropertyListCreateXMLText(value);
    CFRelease(value);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view xml(reinterpret_cast<const char*>(data), size);
    CFPropertyListError error;
    CFTypeRef value = CFPropertyListCreateFromXMLData(xml, &error);
    if (!value && (error.reason.empty() || error.line == 0)) __builtin_trap();

    CFReadStream_t stream(fuzzfiles::memoryFile(data, size, "/home/ana/AlbumData.xml"));
    std::string streamError;
    CFTypeRef streamed = CFPropertyListCreateFromStream(stream, &streamError);

    std::string once = rewritten(value);
    if (rewritten(streamed) != once) __builtin_trap();
    if (once != "(refused)") {
        CFPropertyListError again;
        CFTypeRef reread = CFPropertyListCreateFromXMLData(once, &again);
        if (!reread) __builtin_trap(); // the writer made a document the reader refuses
        if (rewritten(reread) != once) __builtin_trap();
    }
    return 0;
}
