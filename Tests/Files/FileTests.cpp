#include <Tarn/Files/Files.h>
#include <Tarn/Files/Paths.h>

#include "AssertRecorder.h"
#include "LogCapture.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#if !defined(_WIN32)
#include <unistd.h>
#endif

using namespace Tarn;
using Tarn::Testing::AssertRecorder;
using Tarn::Testing::LogCapture;
using Tarn::Testing::TempDir;
using OpenMode = FileHandle::OpenMode;
using AccessMode = FileHandle::AccessMode;
using Protection = FileHandle::ProtectionMode;
using Lines = std::vector<std::string>;

namespace {

std::shared_ptr<FileHandle> openToRead(const std::string& path) {
    return FileHandle::open(path, OpenMode::OpenExisting, AccessMode::Read);
}

std::string bytesOf(const FileContents& contents) {
    return std::string(reinterpret_cast<const char*>(contents.data), contents.size);
}

std::string bytesOf(const Memory::MemoryBuffer& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size());
}

std::string readBack(const std::string& path) {
    const auto contents = IO::readFileSync(path);
    return contents ? bytesOf(*contents) : "<not readable>";
}

/// True when exactly one line was logged and it starts with `prefix` followed by some system text.
::testing::AssertionResult loggedOnce(const LogCapture& capture, const std::string& prefix) {
    const Lines lines = capture.lines();
    if (lines.size() != 1) {
        return ::testing::AssertionFailure() << lines.size() << " lines logged";
    }
    if (lines[0].rfind(prefix, 0) != 0 || lines[0].size() == prefix.size()) {
        return ::testing::AssertionFailure() << "logged: " << lines[0];
    }
    return ::testing::AssertionSuccess();
}

// Both read functions share their range rules; only the name in front of the message differs.
struct Reader {
    const char* name;
    std::unique_ptr<FileContents> (*read)(const std::string&, uint64_t, uint64_t);
};

// Also checks that the callback runs exactly once, before the call returns.
std::unique_ptr<FileContents> readAsync(const std::string& path, uint64_t offset, uint64_t size) {
    std::unique_ptr<FileContents> result;
    int calls = 0;
    IO::readFileAsync(
        path,
        [&](std::unique_ptr<FileContents>&& contents) {
            ++calls;
            result = std::move(contents);
        },
        offset, size);
    EXPECT_EQ(calls, 1);
    return result;
}

const Reader Readers[] = {{"readFileSync", &IO::readFileSync}, {"readFileAsync", &readAsync}};

TEST(ReadFile, RangeRulesAndTheirMessages) {
    TempDir temp;
    temp.write("ten.bin", "0123456789");
    temp.write("empty.bin", "");
    const std::string ten = temp.file("ten.bin");
    const std::tuple<std::string, uint64_t, uint64_t, std::string> good[] = {
        {ten, 4, 6, "456789"},
        {ten, 0, 0, "0123456789"},
        {ten, 9, 1, "9"},
        {temp.file("empty.bin"), 0, 0, ""}};
    const std::tuple<std::string, uint64_t, uint64_t, std::string> bad[] = {
        {ten, 4, 7, "offset (4) + size(7) is greater than filesize (10)"},
        {ten, 10, 1, "offset (10) + size(1) is greater than filesize (10)"},
        {ten, 11, 1, "offset (11) is greater than filesize (10)"},
        {ten, 3, 0, "Illegal range, trying to read zero bytes from offset (3)"},
        {ten, UINT64_MAX, 2, "offset (18446744073709551615) is greater than filesize (10)"}, // would wrap
        {temp.file("missing.bin"), 0, 0, "Failed to open file " + temp.file("missing.bin")},
        {temp.path(), 0, 0, "Failed to open file " + temp.path()}}; // a directory is not a file
    for (const Reader& reader : Readers) {
        SCOPED_TRACE(reader.name);
        LogCapture capture;
        for (const auto& [path, offset, size, expected] : good) {
            auto contents = reader.read(path, offset, size);
            ASSERT_TRUE(contents) << path << " " << offset;
            EXPECT_EQ(bytesOf(*contents), expected);
            EXPECT_EQ(contents->origin().to_string(), path);
        }
        EXPECT_EQ(capture.count(), 0u);
        for (const auto& [path, offset, size, message] : bad) {
            capture.clear();
            EXPECT_FALSE(reader.read(path, offset, size));
            EXPECT_EQ(capture.lines(),
                      Lines{std::string("[Error][PlatformIO] Tarn::IO::") + reader.name + ": " + message});
        }
    }
    EXPECT_THROW(IO::readFileAsync(ten, IO::ReadCallback()), std::bad_function_call);
}

TEST(FileContents, TakeMovesTheBufferOutOnceAndTakeCopyCopies) {
    TempDir temp;
    temp.write("f.bin", "payload");
    auto contents = IO::readFileSync(temp.file("f.bin"));
    ASSERT_TRUE(contents);

    Memory::MemoryBuffer copy = contents->takeCopy();
    EXPECT_EQ(bytesOf(copy), "payload");
    EXPECT_NE(copy.data(), contents->data);

    const uint8_t* storage = contents->data;
    Memory::MemoryBuffer taken = contents->take();
    EXPECT_EQ(taken.data(), storage);
    EXPECT_EQ(contents->size, 0u);
    Memory::MemoryBuffer second = contents->take();
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(bytesOf(taken), "payload");

    // Contents that wrap foreign memory hand out a buffer over that same memory.
    const uint8_t raw[3] = {1, 2, 3};
    MemoryBufferBackedFileContents wrapped(raw, sizeof raw);
    EXPECT_TRUE(wrapped.origin().empty());
    Memory::MemoryBuffer wrappedBuffer = wrapped.take();
    EXPECT_EQ(wrappedBuffer.data(), raw);
    EXPECT_EQ(wrappedBuffer.size(), 3u);
}

TEST(FileContents, LargeContentsReuseReleasedStorageButNeverTakenStorage) {
    TempDir temp;
    const std::string a = std::string((20 << 20) - 1, 'a') + 'A', b = std::string((20 << 20) - 1, 'b') + 'B';
    temp.write("a.bin", a);
    temp.write("b.bin", b);

    auto first = IO::readFileSync(temp.file("a.bin"));
    ASSERT_TRUE(first);
    [[maybe_unused]] const uint8_t* storage = first->data;
    first.reset();
    auto second = IO::readFileSync(temp.file("b.bin"));
    ASSERT_TRUE(second);
    EXPECT_TRUE(bytesOf(*second) == b);
#if defined(__linux__)
    EXPECT_EQ(second->data, storage); // the kept storage, with its pages still in place
#endif

    // Storage taken out belongs to the caller: releasing the emptied contents keeps nothing, and
    // the next read must not land in it.
    Memory::MemoryBuffer taken = second->take();
    second.reset();
    auto third = IO::readFileSync(temp.file("a.bin"));
    ASSERT_TRUE(third);
    EXPECT_NE(third->data, taken.data());
    EXPECT_TRUE(bytesOf(*third) == a);
    EXPECT_TRUE(bytesOf(taken) == b);

    // A larger read cannot use the kept storage and is still read whole.
    temp.write("c.bin", a + b);
    third.reset();
    auto larger = IO::readFileSync(temp.file("c.bin"));
    ASSERT_TRUE(larger);
    EXPECT_TRUE(bytesOf(*larger) == a + b);
}

TEST(WriteFile, CreatesDirectoriesTruncatesAndRoundTripsOddPaths) {
    TempDir temp;
    LogCapture capture;
    const std::string nested = temp.file("new\\deeper/file.bin");
    ASSERT_TRUE(IO::writeBinaryFile(nested, "abcdef", 6));
    EXPECT_EQ(temp.read("new/deeper/file.bin"), "abcdef");
    ASSERT_TRUE(IO::writeBinaryFile(nested, "xy", 2));
    EXPECT_EQ(temp.read("new/deeper/file.bin"), "xy");
    ASSERT_TRUE(IO::writeBinaryFile(nested, nullptr, 0));
    EXPECT_TRUE(temp.exists("new/deeper/file.bin"));
    EXPECT_EQ(temp.read("new/deeper/file.bin"), "");

    // Invalid UTF-8 and paths beyond 260 characters still round-trip (or fail cleanly).
    const std::string odd = temp.file("bad\xff\xfe.bin");
    if (IO::writeBinaryFile(odd, "1", 1)) {
        EXPECT_EQ(readBack(odd), "1");
    }
    std::string longPath = temp.path();
    while (longPath.size() < 300) {
        longPath += "/directory_with_a_long_name";
    }
    longPath += "/file.bin";
    ASSERT_TRUE(IO::writeBinaryFile(longPath, "long", 4));
    EXPECT_EQ(IO::getFileSize(longPath), 4u);
    EXPECT_EQ(readBack(longPath), "long");
    EXPECT_EQ(capture.count(), 0u);

    // A file where a directory is needed.
    temp.write("plain", "x");
    EXPECT_FALSE(IO::writeBinaryFile(temp.file("plain/inner.bin"), "x", 1));
    EXPECT_EQ(capture.lines(),
              Lines{"[Error][PlatformIO] Tarn::IO::createDirectories(" + temp.file("plain") + ") failed."});
    capture.clear();
    EXPECT_FALSE(IO::writeBinaryFile(temp.path(), "x", 1)); // a directory where a file is needed
    EXPECT_TRUE(loggedOnce(capture, "[Error][PlatformIO] Tarn::IO::writeBinaryFile(" + temp.path() + "): "));
}

TEST(FileServices, TextCopyDirectoriesSizesTimesAndRemoval) {
    TempDir temp;
    LogCapture capture;
    temp.write("text.txt", "one\r\ntwo\rthree\n");
    std::string text = "old";
    ASSERT_TRUE(IO::readTextFile(text, temp.file("text.txt")));
    EXPECT_EQ(text, "one\ntwo\rthree\n");
    EXPECT_FALSE(IO::readTextFile(text, temp.file("none.txt")));
    EXPECT_EQ(text, "one\ntwo\rthree\n");
    EXPECT_EQ(capture.lines(), Lines{"[Error][PlatformIO] Tarn::IO::readTextFile(" + temp.file("none.txt") +
                                     "): Failed to open file."});
    capture.clear();

    temp.write("to.txt", "something longer");
    EXPECT_TRUE(IO::copyFile(temp.file("text.txt"), temp.file("to.txt")));
    EXPECT_EQ(temp.read("to.txt"), "one\r\ntwo\rthree\n");
    EXPECT_FALSE(IO::copyFile(temp.file("none.txt"), temp.file("to.txt")));
    EXPECT_TRUE(loggedOnce(capture, "[Error][PlatformIO] Tarn::IO::copyFile(" + temp.file("none.txt") + ", " +
                                        temp.file("to.txt") + "): "));
    capture.clear();

    EXPECT_TRUE(IO::createDirectories(temp.file("d1\\d2/d3")));
    EXPECT_TRUE(IO::createDirectories(temp.file("d1\\d2/d3"))); // nothing left to create
    EXPECT_EQ(IO::getFileSize(temp.file("to.txt")), 15u);
    EXPECT_EQ(IO::getFileSize(temp.file("d1")), 0u);
    EXPECT_EQ(capture.count(), 0u);
    EXPECT_EQ(IO::getFileSize(temp.file("none.txt")), 0u);
    EXPECT_TRUE(
        loggedOnce(capture, "[Error][PlatformIO] Tarn::IO::getFileSize(" + temp.file("none.txt") + "): "));
    capture.clear();

    // 100-ns ticks since 1601 are the Unix time shifted by 11644473600 seconds.
    const int64_t now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    const IO::FileTime written = IO::getFileTime(temp.file("to.txt"));
    EXPECT_NEAR(static_cast<double>(written / 10000000 - 11644473600), static_cast<double>(now), 3600.0);
    EXPECT_EQ(IO::getFileTime(temp.file("none.txt")), INT64_MIN);
    EXPECT_EQ(capture.count(), 0u);

    std::set<std::string> names;
    for (const auto& entry : IO::directoryIterator(temp.file("d1"))) {
        names.insert(IO::fileName(IO::getPath(entry)));
    }
    EXPECT_EQ(names, (std::set<std::string>{"d2", "d3"}));
    EXPECT_TRUE(IO::directoryIterator(temp.file("none")) == std::filesystem::recursive_directory_iterator());

    EXPECT_TRUE(IO::exists(temp.file("to.txt")));
    EXPECT_TRUE(IO::remove(temp.file("to.txt")));
    EXPECT_FALSE(IO::exists(temp.file("to.txt")));
    EXPECT_FALSE(IO::remove(temp.file("to.txt")));
    EXPECT_THROW(IO::remove(temp.file("d1")), std::filesystem::filesystem_error); // not empty
}

TEST(Backup, RotationKeepsTheChainInOrder) {
    TempDir temp;
    const std::string f = temp.file("f");
    temp.write("f", "new");
    temp.write("f.backup1", "b1");
    temp.write("f.backup2", "b2");
    IO::backupFile(f, 3);
    EXPECT_FALSE(temp.exists("f"));
    EXPECT_EQ(temp.read("f.backup1"), "new");
    EXPECT_EQ(temp.read("f.backup2"), "b1");
    EXPECT_EQ(temp.read("f.backup3"), "b2");

    // A full chain moves up past its limit once more, as its numbering rule says.
    temp.write("f", "newer");
    IO::backupFile(f, 3);
    EXPECT_EQ(temp.read("f.backup1"), "newer");
    EXPECT_EQ(temp.read("f.backup4"), "b2");

    IO::backupFile(temp.file("missing"), 3); // nothing to do
    EXPECT_FALSE(temp.exists("missing.backup1"));

    for (uint32_t limit : {0u, 1u}) {
        SCOPED_TRACE(limit);
        TempDir small;
        small.write("g", "g0");
        small.write("g.backup1", "g1");
        small.write("g.backup2", "g2");
        IO::backupFile(small.file("g"), limit);
        EXPECT_FALSE(small.exists("g"));
        EXPECT_EQ(small.read("g.backup1"), "g0");
        EXPECT_EQ(small.read("g.backup2"), "g1"); // the old second backup is overwritten
        EXPECT_FALSE(small.exists("g.backup3"));
    }

    // A backup name taken by a directory makes the rename fail, and that is thrown.
    TempDir blocked;
    blocked.write("h", "h");
    blocked.write("h.backup1", "h1");
    blocked.write("h.backup2/inner", "x");
    EXPECT_THROW(IO::backupFile(blocked.file("h"), 0), std::filesystem::filesystem_error);
    EXPECT_EQ(blocked.read("h"), "h");
}

TEST(FileHandle, OpenModesReadWriteAndSharing) {
    TempDir temp;
    LogCapture capture;
    const std::string path = temp.file("h.bin");
    const std::string prefix =
        "[Error][FileHandle] Tarn::FileHandle::open(): Failed to open " + path + ". Error: ";
    for (OpenMode mode : {OpenMode::OpenExisting, OpenMode::TruncateExisting}) {
        EXPECT_FALSE(FileHandle::open(path, mode, AccessMode::Write));
        ASSERT_TRUE(loggedOnce(capture, prefix));
        EXPECT_EQ(capture.lines()[0].back(), '.');
        capture.clear();
    }
    {
        auto writer = FileHandle::open(path, OpenMode::CreateNew, AccessMode::Write);
        ASSERT_TRUE(writer);
        uint64_t written = 0;
        ASSERT_TRUE(writer->write("0123456789", 10, written));
        EXPECT_EQ(written, 10u);
        EXPECT_EQ(writer->getSize(), 10u);
        // Write access shares nothing, not even with whole-file reads, which share everything.
        EXPECT_FALSE(FileHandle::open(path, OpenMode::OpenExisting, AccessMode::Read));
        EXPECT_FALSE(IO::readFileSync(path));
        EXPECT_EQ(capture.count(), 2u);
        capture.clear();
    }
    EXPECT_FALSE(FileHandle::open(path, OpenMode::CreateNew, AccessMode::Write));
    capture.clear();
    {
        auto first = IO::openFile(path, OpenMode::OpenExisting, AccessMode::Read);
        auto second = IO::openFile(path, OpenMode::OpenAlways, AccessMode::Read);
        ASSERT_TRUE(first && second);
        EXPECT_FALSE(
            IO::openFile(path, OpenMode::OpenExisting, AccessMode::Write)); // readers share only reading
        EXPECT_EQ(capture.count(), 1u);
        capture.clear();
        char buffer[16] = {};
        uint64_t read = 0;
        ASSERT_TRUE(first->read(buffer, 4, read));
        EXPECT_EQ(std::string(buffer, read), "0123");
        ASSERT_TRUE(first->read(buffer, sizeof buffer, read)); // the end is not a failure
        EXPECT_EQ(std::string(buffer, read), "456789");
        ASSERT_TRUE(second->read(buffer, sizeof buffer, read));
        EXPECT_EQ(read, 10u);
        EXPECT_TRUE(IO::readFileSync(path)); // readers do not keep whole-file reads out

        IO::closeFile(first);
        EXPECT_FALSE(first->isOpen());
        EXPECT_EQ(IO::fileSize(first), 0u);
        EXPECT_EQ(IO::fileSize(second), 10u);
        EXPECT_EQ(IO::fileSize(nullptr), 0u);
        IO::closeFile(nullptr);
    }
    {
        auto rewritten = FileHandle::open(path, OpenMode::CreateAlways, AccessMode::Write);
        ASSERT_TRUE(rewritten);
        uint64_t written = 0;
        EXPECT_TRUE(rewritten->write("ab", 2, written));
    }
    EXPECT_EQ(temp.read("h.bin"), "ab");
    EXPECT_TRUE(FileHandle::open(path, OpenMode::TruncateExisting, AccessMode::Write));
    EXPECT_EQ(temp.read("h.bin"), "");
    temp.write("h.bin", "xyz");
    EXPECT_TRUE(FileHandle::open(path, OpenMode::CreateAlways, AccessMode::Read)) << "empties it for reading";
    EXPECT_EQ(temp.read("h.bin"), "");
    EXPECT_TRUE(FileHandle::open(temp.file("other.bin"), OpenMode::OpenAlways, AccessMode::Write));
    EXPECT_TRUE(temp.exists("other.bin"));
    EXPECT_EQ(capture.count(), 0u);
}

TEST(FileHandle, MappingRules) {
    TempDir temp;
    std::string bytes(131072, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 256);
    }
    temp.write("m.bin", bytes);
    temp.write("empty.bin", "");
    LogCapture capture;

    auto handle = openToRead(temp.file("m.bin"));
    ASSERT_TRUE(handle);
    const void* view = IO::mapFile(handle, Protection::ReadWrite, 0, 0);
    ASSERT_TRUE(view);
    EXPECT_TRUE(handle->isMapped());
    EXPECT_EQ(handle->getMappedMemory(), view);
    EXPECT_EQ(std::memcmp(view, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(handle->map(Protection::ReadOnly, 0, 16), nullptr);
    IO::unmapFile(handle);
    EXPECT_FALSE(handle->isMapped());
    handle->unmap();
    EXPECT_EQ(capture.lines(), (Lines{"[Error][FileHandle] File handle cannot be mapped multiple times.",
                                      "[Warning][FileHandle] Cannot unmap file without mapped memory address "
                                      "(file mapping may have failed)."}));
    capture.clear();

    // A window at an offset that every platform's granularity divides.
    const auto* window = static_cast<const char*>(handle->map(Protection::ReadOnly, 65536, 100));
    ASSERT_TRUE(window);
    EXPECT_EQ(std::string(window, 100), bytes.substr(65536, 100));
    handle->close();
    EXPECT_FALSE(handle->isMapped());
    EXPECT_EQ(handle->map(Protection::ReadOnly, 0, 0), nullptr);
    EXPECT_EQ(IO::mapFile(nullptr, Protection::ReadOnly, 0, 0), nullptr);
    IO::unmapFile(nullptr);
    EXPECT_EQ(capture.lines(), Lines{"[Error][FileHandle] Cannot map invalid file handle."});
    capture.clear();

    auto empty = openToRead(temp.file("empty.bin"));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->map(Protection::ReadOnly, 0, 0), nullptr);
    EXPECT_TRUE(loggedOnce(capture, "[Error][FileHandle] map(): CreateFileMapping failed. Last error: "));
    capture.clear();

    // Beyond the end of the file: no view, and the handle stays usable.
    auto again = openToRead(temp.file("m.bin"));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->map(Protection::ReadOnly, 0, bytes.size() + 1), nullptr);
    EXPECT_EQ(capture.count(), 1u);
    EXPECT_FALSE(again->isMapped());
}

TEST(FileHandle, MovingAMappedHandleIsAsserted) {
    TempDir temp;
    temp.write("m.bin", std::string(4096, 'm'));
    auto source = openToRead(temp.file("m.bin"));
    ASSERT_TRUE(source);
    AssertRecorder recorder;
    FileHandle moved(std::move(*source));
    FileHandle target;
    target = std::move(moved);
    EXPECT_TRUE(recorder.empty());
    EXPECT_FALSE(source->isOpen());
    EXPECT_FALSE(moved.isOpen());
    EXPECT_TRUE(target.isOpen());

    ASSERT_TRUE(target.map(Protection::ReadOnly, 0, 0));
    FileHandle stolen(std::move(target));
    EXPECT_EQ(recorder.texts(), Lines{"move.mappedMemory == nullptr"});
    target.unmap();
    target.close();
    stolen.close();

    recorder.clear();
    auto a = openToRead(temp.file("m.bin"));
    auto b = openToRead(temp.file("m.bin"));
    ASSERT_TRUE(a && b);
    ASSERT_TRUE(a->map(Protection::ReadOnly, 0, 0));
    ASSERT_TRUE(b->map(Protection::ReadOnly, 0, 0));
    *a = std::move(*b);
    EXPECT_EQ(recorder.texts(), (Lines{"mappedMemory == nullptr", "move.mappedMemory == nullptr"}));
    b->unmap();
}

#if !defined(_WIN32)
TEST(FileHandleDeathTest, WritingThroughAViewFaults) {
    TempDir temp;
    temp.write("ro.bin", std::string(4096, 'r'));
    auto handle = openToRead(temp.file("ro.bin"));
    ASSERT_TRUE(handle);
    auto* view = static_cast<volatile char*>(const_cast<void*>(handle->map(Protection::ReadWrite, 0, 0)));
    ASSERT_TRUE(view);
    EXPECT_DEATH(view[0] = 'w', "");
    EXPECT_EQ(view[0], 'r');
}

TEST(ReadFile, PermissionDeniedIsAnOpenFailure) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    TempDir temp;
    temp.write("locked.bin", "x");
    std::filesystem::permissions(temp.file("locked.bin"), std::filesystem::perms::none);
    LogCapture capture;
    EXPECT_FALSE(IO::readFileSync(temp.file("locked.bin")));
    EXPECT_EQ(capture.lines(), Lines{"[Error][PlatformIO] Tarn::IO::readFileSync: Failed to open file " +
                                     temp.file("locked.bin")});
}
#endif

} // namespace
