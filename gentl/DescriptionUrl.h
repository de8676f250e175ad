// Where a camera's description (GenICam XML, plain or zipped) lives, as a port URL names it:
//   local:[///]name.ext;address;length[?SchemaVersion=x.y.z]  in the camera's register space
//   file:[///]path/name.ext                                     a file on this computer
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tq4::gentl {

enum class UrlScheme { Local, File, Unknown };

struct DescriptionUrl {
    UrlScheme scheme = UrlScheme::Unknown;
    std::string url;        // the URL as given
    std::string fileName;   // local: the register file's name; file: the path (see below)
    std::string extension;  // from the last "." of the file name; empty without one
    uint64_t address = 0;   // local only
    uint64_t length = 0;    // local only

    // A register file is used only with a name of more than 4 characters and a nonzero
    // address and length; a file URL needs a path.
    bool usable() const;
};

// Splits a URL. The scheme is compared exactly ("local:", "file:"); address and length are
// hexadecimal (text that is not hexadecimal reads as 0); the query after "?" is ignored.
//
// The path of a file URL is what follows "file:" up to a query ("?SchemaVersion=..."), with an
// empty authority ("//") removed:
//   file:///opt/cam/desc.xml    -> "/opt/cam/desc.xml"   (an absolute path here)
//   file:desc.xml               -> "desc.xml"            (relative to the current directory)
//   file:///C|/desc/cam%20a.xml -> "C|/desc/cam%20a.xml" (a drive-letter path keeps no leading
//                                  "/": it names "C:/desc/cam a.xml" relative to the current
//                                  directory, as there are no drives on this system)
// The path is kept as written; localNameOfFileUrlPath turns it into a file name.
DescriptionUrl parseDescriptionUrl(const std::string& url);

// The URLs of a GCGetPortURL answer: NUL-terminated texts within `size` bytes.
std::vector<std::string> splitUrlList(const char* buffer, std::size_t size);

// The part of a name from its last "."; empty when it has none.
std::string extensionOf(const std::string& name);

// Local file name of a file URL's path: every "|" becomes ":" (the drive-letter form) and every
// "%20" a blank; nothing else is decoded. "/" stays, being this system's path separator.
std::string localNameOfFileUrlPath(const std::string& path);
// Whether that name has a directory part (holds "/" or "\").
bool hasDirectoryPart(const std::string& localName);
// The name without its directory part.
std::string bareFileName(const std::string& localName);

}  // namespace tq4::gentl
