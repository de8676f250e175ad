// Finding, loading and initialising a producer.
#include "gentl-module/GenTLModule.h"

#include "support/World.h"

namespace tq4::test {
namespace {

using namespace tq4::gentl;

class ProducerSearch : public World {
protected:
    void SetUp() override {
        World::SetUp();
        for (const char* folder : {"first", "second"}) fs::create_directories(root_ / folder);
        ::setenv("GENICAM_GENTL64_PATH",
                 searchPathOf({(root_ / "first").string(), (root_ / "second").string()}).c_str(), 1);
    }
    void place(const fs::path& folder) { writeFile((folder / "ZEVO.cti").string(), "not a library"); }
    std::vector<std::string> candidates() {
        std::vector<std::string> out;
        for (const Line& l : lines())
            if (l.cls == log::kVerbose && l.text.rfind("GenTLModule::findProducer: ", 0) == 0)
                out.push_back(l.text.substr(std::string("GenTLModule::findProducer: ").size()));
        return out;
    }
    std::string cwd() { return (root_ / "cwd").string(); }
};

TEST_F(ProducerSearch, FoldersOfThePathThenCurrentDirectoryThenDataFolder) {
    for (const fs::path& folder : {root_ / "first", root_ / "second", root_ / "cwd", dataDirectory()}) place(folder);

    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), (root_ / "first" / "ZEVO.cti").string());
    EXPECT_TRUE(logged("GenTLModule::findProducer: Loading $(GENICAM_GENTL64_PATH) ...", log::kProgress));
    EXPECT_TRUE(logged("GenTLModule::findProducer: GenTL Producer found: " + (root_ / "first" / "ZEVO.cti").string(),
                       log::kProgress));

    fs::remove(root_ / "first" / "ZEVO.cti");
    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), (root_ / "second" / "ZEVO.cti").string());
    fs::remove(root_ / "second" / "ZEVO.cti");
    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), joinPath(cwd(), "ZEVO.cti"));
    fs::remove(root_ / "cwd" / "ZEVO.cti");
    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), (dataDirectory() / "ZEVO.cti").string());

    fs::remove(dataDirectory() / "ZEVO.cti");
    clearLines();
    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), "ZEVO.cti");
    EXPECT_TRUE(logged("GenTLModule::findProducer: CTI not found. Set to \"ZEVO.cti\".", log::kProgress));
    const std::vector<std::string> expected = {(root_ / "first" / "ZEVO.cti").string(),
                                               (root_ / "second" / "ZEVO.cti").string(), joinPath(cwd(), "ZEVO.cti"),
                                               (dataDirectory() / "ZEVO.cti").string()};
    EXPECT_EQ(candidates(), expected);
}

TEST_F(ProducerSearch, TrailingSeparatorAddsNoFolderAndAnEmptyPieceNamesTheRoot) {
    ::setenv("GENICAM_GENTL64_PATH", searchPathOf({(root_ / "first").string(), ""}).c_str(), 1);
    GenTLModule::findProducer("ZEVO.cti");
    std::vector<std::string> expected = {(root_ / "first" / "ZEVO.cti").string(), joinPath(cwd(), "ZEVO.cti"),
                                         (dataDirectory() / "ZEVO.cti").string()};
    EXPECT_EQ(candidates(), expected);

    clearLines();
    ::unsetenv("GENICAM_GENTL64_PATH");
    place(root_ / "cwd");
    EXPECT_EQ(GenTLModule::findProducer("ZEVO.cti"), joinPath(cwd(), "ZEVO.cti"));
    EXPECT_EQ(candidates(), std::vector<std::string>{joinPath(cwd(), "ZEVO.cti")});

    // An empty piece inside the list names the root folder, not the current directory.
    clearLines();
    ::setenv("GENICAM_GENTL64_PATH",
             searchPathOf({(root_ / "first").string(), "", (root_ / "second").string()}).c_str(), 1);
    GenTLModule::findProducer("ZEVO.cti");
    EXPECT_EQ(candidates().at(1), joinPath("", "ZEVO.cti"));
}

class ModuleTest : public World {};

TEST_F(ModuleTest, InitResolvesTheTableDeinitAndAFailedInitClearIt) {
    {
        GenTLModule module("ZEVO.cti");
        EXPECT_EQ(module.path(), joinPath(TQ4_SIM_DIR, "ZEVO.cti"));
        ASSERT_TRUE(module.init()) << dump();
        EXPECT_TRUE(logged("GenTLModule::init: GCInitLib() succeed.", log::kProgress));
        EXPECT_NE(module.fn().TLOpen, nullptr);
        EXPECT_NE(module.fn().DSGetBufferSegmentInfo, nullptr);
        // A second init closes the library first: the producer refuses a second GCInitLib
        // without GCCloseLib.
        ASSERT_TRUE(module.init()) << dump();
        EXPECT_EQ(count("GCInitLib() succeed."), 2);
        module.deinit();
        EXPECT_FALSE(module.isInitialised());
        EXPECT_EQ(module.fn().GCInitLib, nullptr);
        EXPECT_EQ(module.fn().TLOpen, nullptr);
    }
    EXPECT_TRUE(logged("GenTLModule::~GenTLModule: deinit done.", log::kProgress));

    // A failing GCInitLib leaves the module uninitialised.
    configure("fault.GCInitLib=-1001\n");
    GenTLModule failing("ZEVO.cti");
    EXPECT_FALSE(failing.init());
    EXPECT_FALSE(failing.isInitialised());
    EXPECT_TRUE(logged("GenTLModule::init: GCInitLib() failed. GC Error: -1001", log::kError)) << dump();
    EXPECT_EQ(failing.fn().GCInitLib, nullptr);
}

}  // namespace
}  // namespace tq4::test
