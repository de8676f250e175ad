// Splitting of the port URLs that name a camera description.
#include <gtest/gtest.h>

#include "gentl/DescriptionUrl.h"

namespace tq4::gentl {
namespace {

TEST(DescriptionUrl, LocalRegisterFileWithAndWithoutAuthorityAndQuery) {
    DescriptionUrl u = parseDescriptionUrl("local:///Cam.zip;10000;2A3F?SchemaVersion=1.1.0");
    EXPECT_EQ(u.scheme, UrlScheme::Local);
    EXPECT_EQ(u.fileName, "Cam.zip");
    EXPECT_EQ(u.extension, ".zip");
    EXPECT_EQ(u.address, 0x10000u);
    EXPECT_EQ(u.length, 0x2A3Fu);
    EXPECT_TRUE(u.usable());

    // Numbers end at the first character that is not a hexadecimal digit.
    u = parseDescriptionUrl("local:///Cam.zip;10000xyz;2A3F junk");
    EXPECT_EQ(u.address, 0x10000u);
    EXPECT_EQ(u.length, 0x2A3Fu);

    u = parseDescriptionUrl("local:tlguru_system_rev1.xml;F0F00000;3BF");
    EXPECT_EQ(u.fileName, "tlguru_system_rev1.xml");
    EXPECT_EQ(u.address, 0xF0F00000u);
    EXPECT_EQ(u.length, 0x3BFu);
    EXPECT_EQ(u.extension, ".xml");
}

TEST(DescriptionUrl, RegisterFilesThatAreNeverUsed) {
    EXPECT_FALSE(parseDescriptionUrl("local:///C.xm;10000;2A3F").usable());  // 4 characters
    EXPECT_TRUE(parseDescriptionUrl("local:///Ca.xm;10000;2A3F").usable());  // 5 characters
    EXPECT_FALSE(parseDescriptionUrl("local:///Cam.xml;0;2A3F").usable());
    EXPECT_FALSE(parseDescriptionUrl("local:///Cam.xml;10000;0").usable());
    EXPECT_FALSE(parseDescriptionUrl("local:///Cam.xml;10000").usable());      // no length
    EXPECT_FALSE(parseDescriptionUrl("local:///Cam.xml;OOOO;2A3F").usable());  // not hexadecimal
    EXPECT_FALSE(parseDescriptionUrl("local:///Cam.xml").usable());
}

TEST(DescriptionUrl, FileUrlsAndOtherSchemes) {
    DescriptionUrl u = parseDescriptionUrl("file:///C|/desc/cam%20a.xml");
    EXPECT_EQ(u.scheme, UrlScheme::File);
    EXPECT_EQ(u.fileName, "C|/desc/cam%20a.xml");
    EXPECT_EQ(u.extension, ".xml");
    EXPECT_TRUE(u.usable());
    EXPECT_EQ(localNameOfFileUrlPath(u.fileName), "C:/desc/cam a.xml");
    EXPECT_TRUE(hasDirectoryPart("C:/desc/cam a.xml"));
    EXPECT_EQ(bareFileName("C:/desc/cam a.xml"), "cam a.xml");
    EXPECT_EQ(localNameOfFileUrlPath("a%2520b%41"), "a%2520b%41");  // no other decoding

    EXPECT_EQ(parseDescriptionUrl("file:cam.xml").fileName, "cam.xml");
    // Only "local:" URLs end at a query; a file path is taken whole.
    EXPECT_EQ(parseDescriptionUrl("file:///opt/cam/desc.zip?SchemaVersion=1.1.0").fileName,
              "/opt/cam/desc.zip?SchemaVersion=1.1.0");
    EXPECT_EQ(parseDescriptionUrl("file:///c:/desc/cam.xml").fileName, "c:/desc/cam.xml");
    EXPECT_FALSE(hasDirectoryPart("cam.xml"));
    EXPECT_FALSE(parseDescriptionUrl("file:").usable());

    EXPECT_EQ(parseDescriptionUrl("http://vendor/cam.xml").scheme, UrlScheme::Unknown);
    EXPECT_EQ(parseDescriptionUrl("Local:///Cam.xml;10000;2A3F").scheme, UrlScheme::Unknown);
    EXPECT_FALSE(parseDescriptionUrl("").usable());
}

TEST(DescriptionUrl, UrlListStopsAtTheEmptyEntryAndTheSize) {
    const char list[] = "local:///a.xml;1;2\0file:///b.xml\0\0junk";
    auto urls = splitUrlList(list, sizeof(list));
    ASSERT_EQ(urls.size(), 2u);
    EXPECT_EQ(urls[1], "file:///b.xml");

    const char unterminated[] = {'f', 'i', 'l', 'e', ':', 'x'};
    urls = splitUrlList(unterminated, sizeof(unterminated));
    ASSERT_EQ(urls.size(), 1u);
    EXPECT_EQ(urls[0], "file:x");
}

}  // namespace
}  // namespace tq4::gentl
