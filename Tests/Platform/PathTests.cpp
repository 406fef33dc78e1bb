#include <Tarn/Platform/Files.h>
#include <Tarn/Platform/Paths.h>

#include "LogCapture.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using namespace Tarn;
using Tarn::Testing::LogCapture;
using Tarn::Testing::ScopedEnvironmentVariable;
using Tarn::Testing::TempDir;

namespace {

#if defined(_WIN32)
constexpr bool Windows = true;
#else
constexpr bool Windows = false;
#endif

TEST(PathText, AbsoluteIsALeadingSeparatorOrADriveColon) {
    struct Case {
        const char* path;
        bool absolute;
    };
    const Case cases[] = {
        {"C:", true}, {"/x", true},   {"\\x", true}, {"x:", true},  {"\\\\srv\\share", true},
        {"", false},  {"a/b", false}, {"a", false},  {"a:b", true}, {".\\x", false}};
    for (const Case& c : cases) {
        EXPECT_EQ(IO::isAbsolute(c.path), c.absolute) << c.path;
        EXPECT_EQ(IO::isRelative(c.path), !c.absolute) << c.path;
    }
    // A view is not null-terminated: only its own characters count.
    EXPECT_FALSE(IO::isAbsolute(StringView("ab:", 1)));
}

TEST(PathText, CombineFollowsTheAppendRule) {
    EXPECT_EQ(IO::combine("a", "b"), "a\\b");
    EXPECT_EQ(IO::combine("a\\", "b"), "a\\b");
    EXPECT_EQ(IO::combine("a/", "b"), "a/b");
    EXPECT_EQ(IO::combine("a", "b/c"), "a\\b/c");
    EXPECT_EQ(IO::combine("", "b"), "b");
    EXPECT_EQ(IO::combine("a", ""), "a\\");
    EXPECT_EQ(IO::combine("a", "C:\\x"), "C:\\x");
    EXPECT_EQ(IO::combine("/usr", "/etc"), "/etc");
    EXPECT_EQ(IO::combine("C:\\a", "\\x"), "C:\\x");
    EXPECT_EQ(IO::combine("D:\\a", "C:x"), "C:x");
    EXPECT_EQ(IO::combine("C:", "b"), "C:b");
    EXPECT_EQ(IO::combine("C:\\", "b"), "C:\\b");
    EXPECT_EQ(IO::combine("\\\\srv\\share", "x"), "\\\\srv\\share\\x");
}

TEST(PathText, ParentPathDropsTheLastElementButNeverTheRoot) {
    EXPECT_EQ(IO::parentPath("a\\b\\c"), "a\\b");
    EXPECT_EQ(IO::parentPath("a/b\\c"), "a/b");
    EXPECT_EQ(IO::parentPath("a\\b\\"), "a\\b");
    EXPECT_EQ(IO::parentPath("a\\\\b"), "a");
    EXPECT_EQ(IO::parentPath("a"), "");
    EXPECT_EQ(IO::parentPath(""), "");
    EXPECT_EQ(IO::parentPath("C:\\a"), "C:\\");
    EXPECT_EQ(IO::parentPath("C:\\"), "C:\\");
    EXPECT_EQ(IO::parentPath("C:a"), "C:");
    EXPECT_EQ(IO::parentPath("/x"), "/");
    EXPECT_EQ(IO::parentPath("\\\\srv\\share\\x"), "\\\\srv\\share");
}

TEST(PathText, FileNameStemAndExtensionCorners) {
    struct Case {
        const char* path;
        const char* fileName;
        const char* stem;
        const char* extension;
    };
    const Case cases[] = {
        {"dir.d\\file", "file", "file", ""},
        {"a.tar.gz", "a.tar.gz", "a.tar", ".gz"},
        {"x/.bashrc", ".bashrc", ".bashrc", ""},
        {"..", "..", "..", ""},
        {".", ".", ".", ""},
        {"a.", "a.", "a", "."},
        {"..x", "..x", ".", ".x"},
        {"dir\\", "", "", ""},
        {"a/b\\c.txt", "c.txt", "c", ".txt"},
        {"C:x.y", "x.y", "x", ".y"},
        {"C:", "", "", ""},
        {"file", "file", "file", ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IO::fileName(c.path), c.fileName) << c.path;
        EXPECT_EQ(IO::stem(c.path), c.stem) << c.path;
        EXPECT_EQ(IO::extension(c.path), c.extension) << c.path;
    }
}

TEST(PathText, RelativePathOfOneArgumentStripsTheRoot) {
    EXPECT_EQ(IO::relativePath("C:\\a\\b"), "a\\b");
    EXPECT_EQ(IO::relativePath("C:a"), "a");
    EXPECT_EQ(IO::relativePath("/a/b"), "a/b");
    EXPECT_EQ(IO::relativePath("\\\\srv\\share\\x"), "share\\x");
    EXPECT_EQ(IO::relativePath("a\\b"), "a\\b");
    EXPECT_EQ(IO::pathSeparator, '\\');
}

TEST(PathText, ReplaceAllNeverRescansInsertedText) {
    std::string text = "aaa";
    IO::replaceAll(text, "a", "aa");
    EXPECT_EQ(text, "aaaaaa");
    text = "ab";
    IO::replaceAll(text, "b", "bb");
    EXPECT_EQ(text, "abb");
    text = "abcabc";
    IO::replaceAll(text, "bc", "");
    EXPECT_EQ(text, "aa");
    text = "abc";
    IO::replaceAll(text, "", "x");
    EXPECT_EQ(text, "abc");
}

TEST(PathsOnDisk, AbsoluteCanonicalAndRelativeToABase) {
    TempDir temp;
    temp.write("a/b/f.txt", "x");
    const std::string absolute = IO::absolute("x");
    EXPECT_TRUE(IO::isAbsolute(absolute));
    EXPECT_EQ(IO::fileName(absolute), "x");
    EXPECT_EQ(IO::canonical(temp.file("a\\b\\..\\b/f.txt")), IO::canonical(temp.file("a/b/f.txt")));
    EXPECT_EQ(IO::fileName(IO::canonical(temp.file("a/./b/f.txt"))), "f.txt");

    EXPECT_EQ(IO::relativePath(temp.file("a/b/f.txt"), temp.file("a")), "b\\f.txt");
    EXPECT_EQ(IO::relativePath(temp.file("a"), temp.file("a\\b")), "..");
    EXPECT_THROW(IO::canonical(temp.file("missing")), std::filesystem::filesystem_error);
    EXPECT_THROW(IO::relativePath(temp.file("missing"), temp.path()), std::filesystem::filesystem_error);

    EXPECT_TRUE(IO::isDirectory(temp.file("a\\b")));
    EXPECT_FALSE(IO::isFile(temp.file("a\\b")));
    EXPECT_TRUE(IO::isFile(temp.file("a\\b\\f.txt")));
    EXPECT_FALSE(IO::isDirectory(temp.file("a/b/f.txt")));
    EXPECT_FALSE(IO::isFile(temp.file("missing")));
}

TEST(Environment, AutoExpansionRules) {
    ScopedEnvironmentVariable home("TarnTestHome", "/h");
    ScopedEnvironmentVariable nope("TarnTestNope", nullptr);
    ScopedEnvironmentVariable outer("TarnTestOuter", "%TarnTestInner%/o");
    ScopedEnvironmentVariable inner("TarnTestInner", "i");
    LogCapture capture;

    const std::pair<const char*, const char*> cases[] = {
        {"%TarnTestHome%/x", "/h/x"},
        {"a%%b", "ab"},
        {"%TarnTestNope%x", "x"},
        {"%A B%", "%A B%"},
        {"%A.B% and %A-B%", "%A.B% and %A-B%"},
        {"%Tarn_Test%", "%Tarn_Test%"}, // "_" is not a name character
        {"%TarnTestHome", "%TarnTestHome"},
        {"%TarnTestNope%b%", "b%"},             // the leftmost match wins
        {"50% of %TarnTestHome%", "50% of /h"}, // "% of %" holds blanks: no match there
        {"%TarnTestOuter%!", "i/o!"},           // values are expanded in turn
    };
    for (const auto& [input, expected] : cases) {
        std::string text = input;
        IO::autoExpandEnvironmentVariables(text);
        EXPECT_EQ(text, expected) << input;
        EXPECT_EQ(IO::expandEnvironmentVariables(input), expected) << input;
    }
    EXPECT_EQ(capture.count(), 0u);
    EXPECT_EQ(IO::expandPath("%TarnTestHome%\\x"), "/h\\x");
}

TEST(Environment, SelfReferenceStopsAfterABoundedNumberOfReplacements) {
    ScopedEnvironmentVariable self("TarnTestSelf", "%TarnTestSelf%x");
    ScopedEnvironmentVariable ping("TarnTestPing", "%TarnTestPong%");
    ScopedEnvironmentVariable pong("TarnTestPong", "%TarnTestPing%");
    LogCapture capture;
    const std::string warning =
        "[Warning][PlatformIO] Tarn::IO::autoExpandEnvironmentVariables: Stopped after "
        "1000 replacements; an environment variable refers to itself.";

    std::string text = "<%TarnTestSelf%>";
    IO::autoExpandEnvironmentVariables(text);
    EXPECT_EQ(text, "<%TarnTestSelf%" + std::string(1000, 'x') + ">");
    EXPECT_TRUE(capture.sawLine(warning));

    capture.clear();
    text = "%TarnTestPing%";
    IO::autoExpandEnvironmentVariables(text);
    EXPECT_EQ(text, "%TarnTestPing%"); // an even number of swaps
    EXPECT_EQ(capture.lines(), std::vector<std::string>{warning});
}

TEST(Environment, SingleVariableKeepsAnUndefinedNameBetweenPercentSigns) {
    ScopedEnvironmentVariable home("TarnTestHome", "/h");
    ScopedEnvironmentVariable nope("TarnTestNope", nullptr);
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestHome"), "/h");
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestNope"), "%TarnTestNope%");
    ScopedEnvironmentVariable huge("TarnTestHuge", std::string(3000, 'y').c_str());
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestHuge"), "");
}

TEST(Folders, StandardFoldersEndInTheirSubfolders) {
    const std::string temp = IO::getTempPath();
    const std::string data = IO::getAppDataPath();
    ASSERT_GT(temp.size(), 6u);
    EXPECT_EQ(temp.substr(temp.size() - 6), "\\Temp\\");
    EXPECT_TRUE(IO::isAbsolute(temp));
    ASSERT_GT(data.size(), 9u);
    EXPECT_EQ(data.substr(data.size() - 9), "\\Morvale\\");
    EXPECT_TRUE(IO::isAbsolute(data));
    if (Windows) {
        return;
    }
    {
        ScopedEnvironmentVariable xdg("XDG_DATA_HOME", "/xdg/data/");
        ScopedEnvironmentVariable dirs("XDG_DATA_DIRS", "/first:/second");
        EXPECT_EQ(IO::getTempPath(), "/xdg/data\\Temp\\");
        EXPECT_EQ(IO::getAppDataPath(), "/first\\Morvale\\");
    }
    {
        // Relative values do not count; the documented defaults apply.
        ScopedEnvironmentVariable xdg("XDG_DATA_HOME", "relative");
        ScopedEnvironmentVariable home("HOME", "/home/tarn");
        ScopedEnvironmentVariable dirs("XDG_DATA_DIRS", nullptr);
        EXPECT_EQ(IO::getTempPath(), "/home/tarn/.local/share\\Temp\\");
        EXPECT_EQ(IO::getAppDataPath(), "/usr/local/share\\Morvale\\");
    }
}

TEST(Folders, ExecutableAndModulePaths) {
    const std::string exe = IO::getPathToExe();
    EXPECT_TRUE(IO::isFile(exe)) << exe;
    EXPECT_EQ(IO::stem(exe), "PlatformTests");

    // The library's own folder holds the library file.
    const std::string beside =
        IO::getPathRelativeToDll("beside.txt", reinterpret_cast<const void*>(&IO::combine));
    EXPECT_EQ(IO::fileName(beside), "beside.txt");
    EXPECT_TRUE(IO::isDirectory(IO::parentPath(beside))) << beside;
    EXPECT_TRUE(IO::isAbsolute(beside)) << beside;

    LogCapture capture;
    const void* nowhere = reinterpret_cast<const void*>(std::uintptr_t(16)); // inside no module
    EXPECT_EQ(IO::getPathRelativeToDll("beside.txt", nowhere), "beside.txt");
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string prefix = "[Error][PlatformIO] Tarn::UI::getPathRelativeToDll(beside.txt): ";
    EXPECT_EQ(lines[0].substr(0, prefix.size()), prefix);
    EXPECT_GT(lines[0].size(), prefix.size());
}

} // namespace
