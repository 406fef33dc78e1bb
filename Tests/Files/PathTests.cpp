#include <Tarn/Files/Files.h>
#include <Tarn/Files/Paths.h>

#include "LogCapture.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>

using namespace Tarn;
using Tarn::Testing::LogCapture;
using Tarn::Testing::ScopedEnvironmentVariable;
using Tarn::Testing::TempDir;

namespace {

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
    using Row = std::tuple<const char*, const char*, const char*>;
    for (const auto& [a, b, expected] :
         {Row{"a", "b", "a\\b"}, Row{"a\\", "b", "a\\b"}, Row{"a/", "b", "a/b"}, Row{"a", "b/c", "a\\b/c"},
          Row{"", "b", "b"}, Row{"a", "", "a\\"}, Row{"a", "C:\\x", "C:\\x"}, Row{"/usr", "/etc", "/etc"},
          Row{"C:\\a", "\\x", "C:\\x"}, Row{"D:\\a", "C:x", "C:x"}, Row{"C:", "b", "C:b"},
          Row{"C:\\", "b", "C:\\b"}, Row{"\\\\srv\\share", "x", "\\\\srv\\share\\x"}}) {
        EXPECT_EQ(IO::combine(a, b), expected) << a << " + " << b;
    }
    EXPECT_EQ(IO::pathSeparator, '\\');
    static_assert(IO::pathSeparator() == '\\');
}

TEST(PathText, ParentNeverLosesTheRootAndRelativePathStripsIt) {
    using Row = std::tuple<const char*, const char*, const char*>; // {path, parentPath, relativePath}
    for (const auto& [path, parent, relative] :
         {Row{"a\\b\\c", "a\\b", "a\\b\\c"}, Row{"a/b\\c", "a/b", "a/b\\c"}, Row{"a\\b\\", "a\\b", "a\\b\\"},
          Row{"a\\\\b", "a", "a\\\\b"}, Row{"a", "", "a"}, Row{"", "", ""}, Row{"C:\\a", "C:\\", "a"},
          Row{"C:\\", "C:\\", ""}, Row{"C:a", "C:", "a"}, Row{"/x", "/", "x"},
          Row{"C:\\a\\b", "C:\\a", "a\\b"}, Row{"/a/b", "/a", "a/b"},
          Row{"\\\\srv\\share\\x", "\\\\srv\\share", "share\\x"}}) {
        EXPECT_EQ(IO::parentPath(path), parent) << path;
        EXPECT_EQ(IO::relativePath(path), relative) << path;
    }
}

TEST(PathText, FileNameStemAndExtensionCorners) {
    // {path, fileName, stem, extension}
    using Row = std::tuple<const char*, const char*, const char*, const char*>;
    for (const auto& [path, fileName, stem, extension] :
         {Row{"dir.d\\file", "file", "file", ""}, Row{"a.tar.gz", "a.tar.gz", "a.tar", ".gz"},
          Row{"x/.bashrc", ".bashrc", ".bashrc", ""}, Row{"..", "..", "..", ""}, Row{".", ".", ".", ""},
          Row{"a.", "a.", "a", "."}, Row{"..x", "..x", ".", ".x"}, Row{"dir\\", "", "", ""},
          Row{"a/b\\c.txt", "c.txt", "c", ".txt"}, Row{"C:x.y", "x.y", "x", ".y"}, Row{"C:", "", "", ""},
          Row{"file", "file", "file", ""}}) {
        EXPECT_EQ(IO::fileName(path), fileName) << path;
        EXPECT_EQ(IO::stem(path), stem) << path;
        EXPECT_EQ(IO::extension(path), extension) << path;
    }
}

TEST(PathText, ReplaceAllNeverRescansInsertedText) {
    for (const auto& [input, from, to, expected] :
         {std::tuple{"aaa", "a", "aa", "aaaaaa"}, std::tuple{"ab", "b", "bb", "abb"},
          std::tuple{"abcabc", "bc", "", "aa"}, std::tuple{"abc", "", "x", "abc"}}) {
        std::string text = input;
        IO::replaceAll(text, from, to);
        EXPECT_EQ(text, expected) << input;
    }
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
    // One variable by name: an undefined one keeps its percent signs, an oversized value is dropped.
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestHome"), "/h");
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestNope"), "%TarnTestNope%");
    ScopedEnvironmentVariable huge("TarnTestHuge", std::string(3000, 'y').c_str());
    EXPECT_EQ(IO::expandEnvironmentVariable("TarnTestHuge"), "");
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

TEST(Folders, StandardFoldersEndInTheirSubfolders) {
    const std::string temp = IO::getTempPath();
    const std::string data = IO::getAppDataPath();
    ASSERT_GT(temp.size(), 6u);
    EXPECT_EQ(temp.substr(temp.size() - 6), "\\Temp\\");
    EXPECT_TRUE(IO::isAbsolute(temp));
    ASSERT_GT(data.size(), 9u);
    EXPECT_EQ(data.substr(data.size() - 9), "\\Morvale\\");
    EXPECT_TRUE(IO::isAbsolute(data));
#if !defined(_WIN32)
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
#endif
}

TEST(Folders, ExecutableAndModulePaths) {
    const std::string exe = IO::getPathToExe();
    EXPECT_TRUE(IO::isFile(exe)) << exe;
    EXPECT_EQ(IO::stem(exe), "FilesTests");

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
