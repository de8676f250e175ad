// Platform services whose behaviour the driver relies on.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "platform/Platform.h"
#include "support/TestFolder.h"

namespace tq4::test {
namespace {

TEST(PlatformTest, EventStaysSetUntilResetAndWorksThroughItsHandle) {
    auto event = platform::Event::create();
    ASSERT_TRUE(event);
    EXPECT_FALSE(event->wait(10));
    event->set();
    event->set();
    EXPECT_TRUE(event->wait(0));
    EXPECT_TRUE(event->wait(0));  // manual reset: waiting does not consume it
    event->reset();
    EXPECT_FALSE(event->isSet());
    std::thread setter([handle = event->nativeHandle()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        platform::setEventByHandle(handle);
    });
    EXPECT_TRUE(platform::waitEventByHandle(event->nativeHandle(), 5000));
    setter.join();
    EXPECT_TRUE(platform::resetEventByHandle(event->nativeHandle()));
    EXPECT_FALSE(event->isSet());
    EXPECT_FALSE(platform::setEventByHandle(-1));
}

TEST(PlatformTest, SharedBlockIsCreatedOnceAndSeenByTheNextOpener) {
    TestFolder folder;
    auto first = platform::SharedBlock::openOrCreate("tq4_platform_block", 100);
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->createdByThisProcess());
    std::memcpy(first->data(), "shared", 7);
    auto second = platform::SharedBlock::openOrCreate("tq4_platform_block", 100);
    ASSERT_TRUE(second);
    EXPECT_FALSE(second->createdByThisProcess());
    EXPECT_STREQ(static_cast<const char*>(second->data()), "shared");
    // Gone with its last user (Windows) or its removal (here).
    first.reset();
    second.reset();
    platform::SharedBlock::unlink("tq4_platform_block");
    auto fresh = platform::SharedBlock::openOrCreate("tq4_platform_block", 100);
    ASSERT_TRUE(fresh);
    EXPECT_TRUE(fresh->createdByThisProcess());
    EXPECT_EQ(static_cast<const char*>(fresh->data())[0], '\0');
    platform::SharedBlock::unlink("tq4_platform_block");
    // A name no system takes: "/" inside (POSIX), "\\" inside (Windows object namespaces).
    EXPECT_FALSE(platform::SharedBlock::openOrCreate(platform::pathSeparator() == '/' ? "bad/name" : "Bad\\name", 100));
}

TEST(PlatformTest, FoldersFilesModulesAndProcesses) {
    TestFolder folder;
    std::string appData;
    ASSERT_TRUE(platform::commonAppDataFolder(appData));
    EXPECT_EQ(appData, folder.path());
    EXPECT_TRUE(platform::makeDirectories(folder.file("a/b/c")));
    EXPECT_TRUE(platform::fileExists(folder.file("a/b/c")));
    EXPECT_FALSE(platform::makeDirectory(folder.file("missing/parent")));

    auto file = platform::AppendFile::open(folder.file("log.txt"), true);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->append("one\n") && file->append("two\n"));
    EXPECT_EQ(file->size(), 8u);
    EXPECT_TRUE(file->truncate());
    EXPECT_EQ(file->size(), 0u);
    EXPECT_FALSE(platform::AppendFile::open(folder.file("absent.txt"), false));

    platform::ModuleHandle library = platform::loadModule(TQ4_LIBRARY);
    ASSERT_TRUE(library) << platform::lastModuleError();
    void* version = platform::moduleSymbol(library, "ZEVO_GetVersionTQ4_Genicam");
    ASSERT_TRUE(version);
    std::string path;
    EXPECT_TRUE(platform::modulePathOf(version, path));
    EXPECT_EQ(std::filesystem::path(path).filename(), std::filesystem::path(TQ4_LIBRARY).filename());
    EXPECT_FALSE(platform::moduleSymbol(library, "NoSuchExport"));
    platform::unloadModule(library);
    EXPECT_FALSE(platform::loadModule(folder.file("none.so")));
    EXPECT_FALSE(platform::lastModuleError().empty());

    EXPECT_TRUE(platform::startProcess(TQ4_HELPER, "touch \"" + folder.file("started by us") + "\""));
    for (int i = 0; i < 500 && !platform::fileExists(folder.file("started by us")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(platform::fileExists(folder.file("started by us")));
    EXPECT_FALSE(platform::startProcess(folder.file("no-such-program"), ""));
#if defined(_WIN32)
    ASSERT_TRUE(platform::requestTimerPeriod(2));
    platform::releaseTimerPeriod(2);
#else
    EXPECT_FALSE(platform::requestTimerPeriod(2));  // the clock here needs no period
#endif
}

TEST(PlatformTest, QuestionIsAnsweredByHandlerThenEnvironmentThenNobody) {
    platform::setEnvironment("TQ4_QUESTION_ANSWER", "yes");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::Yes);
    platform::setQuestionHandler([](const std::string&, const std::string&) { return platform::Answer::No; });
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::No);
    platform::setQuestionHandler(nullptr);
    platform::setEnvironment("TQ4_QUESTION_ANSWER", "no");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::No);
#if !defined(_WIN32)
    // No answer set and no desktop: nobody is asked. (Windows always has a desktop to ask on.)
    const std::string display = platform::getEnvironment("DISPLAY");
    const std::string wayland = platform::getEnvironment("WAYLAND_DISPLAY");
    for (const char* name : {"TQ4_QUESTION_ANSWER", "DISPLAY", "WAYLAND_DISPLAY"}) platform::setEnvironment(name, "");
    EXPECT_EQ(platform::askYesNo("t", "q"), platform::Answer::NobodyAsked);
    platform::setEnvironment("DISPLAY", display);
    platform::setEnvironment("WAYLAND_DISPLAY", wayland);
#endif
}

}  // namespace
}  // namespace tq4::test
