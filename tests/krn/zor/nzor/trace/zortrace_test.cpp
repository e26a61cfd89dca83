#include "trace/zortrace.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "error/zorexception.h"
#include "krn/zor/nzor/config/process_fixture.h"
#include "trace/zortracefunctions.h"

namespace {

namespace fs = std::filesystem;

std::atomic<std::time_t> testTime{1000000000};

class ZorTraceTest : public ProcessFixture {
  protected:
    void SetUp() override {
        ProcessFixture::SetUp();
        // A reading now, so that no setting changes under a test.
        configure("");
        ZorTrace::clock = []() noexcept { return testTime.load(); };
    }

    fs::path ownFile() const { return directory / ZorTrace::getFileName(); }

    /** What stands behind the header of a file: the header ends with the first empty line behind its start.
     */
    static std::string body(const fs::path& file) {
        const std::string text = readFile(file);
        const auto header = text.find("**** Trace file opened at ");
        const auto end = header == text.npos ? text.npos : text.find("\n\n", header);
        return end == text.npos ? "no header: " + text : text.substr(end + 2);
    }

    static std::size_t headers(const fs::path& file) {
        const std::string text = readFile(file);
        std::size_t count = 0;
        for (auto at = text.find("**** Trace"); at != text.npos; at = text.find("**** Trace", at + 1))
            ++count;
        return count;
    }
};

TEST_F(ZorTraceTest, LinesOfTheFreeFunctions) {
    ZOR_ERROR_INFO info{};
    std::snprintf(info.key, sizeof info.key, "KEY");
    std::snprintf(info.message, sizeof info.message, "text");
    ZorTraceBeginApi("ZorCall");
    ZorTraceEndApi("ZorCall", ZOR_OK, &info);
    ZorTraceEndApi("ZorCall", ZOR_CLOSED, &info);
    ZorTraceEndApi("ZorCall", ZOR_CLOSED, nullptr);
    ZorTraceBeginMethod("Class::method");
    ZorTraceEndMethod("Class::method", -3);
    ZorTraceWrite("number %d\n", 7);
    EXPECT_EQ(body(ownFile()),
              ">> ZorCall\n"
              "<< ZorCall returned ZOR_OK\n\n"
              "<< ZorCall returned ZOR_CLOSED\n\tZOR_ERROR_INFO.key: KEY\n\tZOR_ERROR_INFO.message: text\n\n"
              "<< ZorCall returned ZOR_CLOSED\n\n"
              "\t>> Class::method\n"
              "\t<< Class::method returned -3\n\n"
              "number 7\n\n");
}

TEST_F(ZorTraceTest, LongTextIsCut) {
    ZorTraceWrite("%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(body(ownFile()), std::string(1023, 'x') + "\n");
}

TEST_F(ZorTraceTest, HexDump) {
    const KEL_RAW data[] = "ABCDE\n\x7f\x80 0123456";
    ZorTraceHexDump(data, 5, "five of %s", "them");
    ZorTraceHexDump(data, 17, "seventeen");
    ZorTraceHexDump(data, 0, "none");
    ZorTraceHexDump(nullptr, 5, "nothing");
    EXPECT_EQ(body(ownFile()),
              ">> HEXDUMP\nfive of them\n"
              "000000 | 41424344 45000000 00000000 00000000 |ABCDE...........|\n"
              "<< HEXDUMP\n\n"
              ">> HEXDUMP\nseventeen\n"
              "000000 | 41424344 450A7F80 20303132 33343536 |ABCDE... 0123456|\n"
              "000010 | 00000000 00000000 00000000 00000000 |................|\n"
              "<< HEXDUMP\n\n"
              ">> HEXDUMP\nnone\n<< HEXDUMP\n\n"
              ">> HEXDUMP\nnothing\n<< HEXDUMP\n\n");
}

TEST_F(ZorTraceTest, EntriesOfObjects) {
    {
        const ZorTraceHold trace;
        ZorTrace::beginEntry(trace.stream(), "Kind", "N");
        ZorTrace::writeKeyValue(trace.stream(), "key", "value", 3, true);
        ZorTrace::writeKeyValue(trace.stream(), "flag", true, false);
        ZorTrace::writeParameter(trace.stream(), "PAR", ZORTYPE_INT, 4, true, false);
        ZorTrace::endEntry(trace.stream(), "Kind", "N");
    }
    EXPECT_EQ(body(ownFile()),
              ">> Kindname=\"N\"\n\tkey: val\n\tflag: true\t"
              ">> PAR, ZORTYPE_INT, Length: 4, Active: true, Requested: false\n<< Kind\n\n");
}

TEST_F(ZorTraceTest, NamesModesAndHeader) {
    ZorTraceWrite("x");
    KEL_UC name[64];
    std::snprintf(name, sizeof name, "zor%.5d_%05d.trc", static_cast<int>(::getpid()),
                  ZorTrace::getThreadNumber());
    const std::string header = readFile(directory / name);
    EXPECT_EQ(header.rfind("\n**** Trace file opened at 2001-09-0", 0), 0u) << header;
    EXPECT_NE(header.find("\nTSL ZOR Library: Kernel variant, Release 753 Patch Level "), header.npos);
    EXPECT_NE(header.find("\n Current working directory: " + fs::current_path().string() + ", Program: "),
              header.npos);
    ZorTrace::close();
    ZorConfig::setTraceType(false);
    ZorTraceWrite("x");
    std::snprintf(name, sizeof name, "zor%.5d.trc", static_cast<int>(::getpid()));
    struct stat properties {};
    ASSERT_EQ(::stat((directory / name).c_str(), &properties), 0);
    EXPECT_EQ(properties.st_mode & 07777, 0600u);
    ZorTrace::close();
    ZorTraceWrite("y");
    EXPECT_EQ(headers(directory / name), 2u) << "each opening writes a header";
    ZorConfig::setTraceType(true);
}

TEST_F(ZorTraceTest, PausesLeaveATimeLine) {
    ZorTraceWrite("a");
    testTime += 2;
    ZorTraceWrite("b");
    testTime += 3;
    const std::string expected = "a\nb\n*** " + ZorTrace::timeString() + "\nc\n";
    ZorTraceWrite("c");
    EXPECT_EQ(body(ownFile()), expected);
}

TEST_F(ZorTraceTest, LargeFileIsRotated) {
    configure("DEFAULT\nZOR_TRACE_MAX_FILE_SIZE=1M\n");
    // Above a mebibyte: lines of 1001 bytes.
    for (int i = 0; i < 1060; ++i)
        ZorTraceWrite("%s", std::string(1000, 'o').c_str());
    ZorTraceWrite("new");
    const fs::path file = ownFile();
    EXPECT_GT(fs::file_size(file.string() + ".old"), 0x100000u);
    EXPECT_LT(fs::file_size(file), 0x100000u);
    EXPECT_EQ(headers(file), 1u);
    // One that somebody cut off is small again.
    for (int i = 0; i < 1060; ++i) {
        if (i == 1000) fs::resize_file(file, 0);
        ZorTraceWrite("%s", std::string(1000, 'n').c_str());
    }
    EXPECT_EQ(fs::file_size(file), 60 * 1001u);
    configure("DEFAULT\nZOR_TRACE_MAX_FILE_SIZE=512M\n");
}

TEST_F(ZorTraceTest, AForkedProcessHasAFileOfItsOwn) {
    ZorTraceWrite("parent");
    const pid_t child = ::fork();
    if (child == 0) {
        ZorTraceWrite("child");
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    KEL_UC name[64];
    std::snprintf(name, sizeof name, "zor%.5d_%05d.trc", child, child);
    EXPECT_EQ(body(directory / name), "child\n");
    EXPECT_EQ(body(ownFile()), "parent\n");
}

TEST_F(ZorTraceTest, LogLines) {
    ZorLogWrite("first %d", 1);
    ZorLogException(ZorLogonException("KEY", "text"));
    EXPECT_EQ(body(directory / "dev_zor.trc"),
              "first 1\nZorBaseException occured. Key: KEY, Message: text\n");
}

TEST_F(ZorTraceTest, WhatCannotBeWrittenIsLostInSilence) {
    const fs::path victim = directory / "victim";
    writeFile(victim, "untouched");
    fs::create_symlink(victim, ownFile());
    fs::create_directory(directory / "dev_zor.trc");
    errno = ENOENT;
    ZorTraceWrite("x");
    ZorTraceHexDump(nullptr, 0, "x");
    ZorLogWrite("x");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(readFile(victim), "untouched") << "a symbolic link isn't followed";
    ZorTrace::close();
    fs::remove(ownFile());
    ASSERT_EQ(::mkfifo(ownFile().c_str(), 0600), 0);
    ZorTraceWrite("x");  // Would stop here if the pipe were opened like a file.
    ZorTrace::close();
    fs::remove(ownFile());
    ZorTraceWrite("x");
    fs::remove(ownFile());
    ZorTraceWrite("into a file without a name");
    EXPECT_FALSE(fs::exists(ownFile()));
}

TEST_F(ZorTraceTest, AFullDiskCostsTheLinesAndNothingElse) {
    // A limit on the size of files fails a write where a full disk would, in the middle of a line.
    ZorTraceWrite("before");
    struct rlimit old {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = ::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit full { static_cast<rlim_t>(fs::file_size(ownFile())) + 3, old.rlim_max };
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    errno = ENOENT;
    ZorTraceWrite("while full");
    ZorLogWrite("%s", std::string(1000, 'x').c_str());
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
    (void)::signal(SIGXFSZ, oldHandler);
    ZorTraceWrite("after");
    EXPECT_EQ(body(ownFile()), "before\nwhiafter\n");
}

TEST_F(ZorTraceTest, ManyThreadsKeepTheirFilesApart) {
    constexpr int threadCount = 105;  // More than the cache holds.
    std::latch written(threadCount);
    std::vector<std::string> files(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&, i] {
            files[static_cast<std::size_t>(i)] = ZorTrace::getFileName();
            ZorTraceWrite("first of %d", i);
            written.arrive_and_wait();
            ZorTraceWrite("second of %d", i);
            ZorLogWrite("log of %d", i);
        });
    for (auto& thread : threads)
        thread.join();
    bool reopened = false;
    for (int i = 0; i < threadCount; ++i) {
        const fs::path file = directory / files[static_cast<std::size_t>(i)];
        const std::string text = readFile(file);
        const std::string number = std::to_string(i) + "\n";
        const auto first = text.find("first of " + number);
        EXPECT_NE(first, text.npos);
        EXPECT_NE(text.find("second of " + number, first), text.npos);
        reopened = reopened || headers(file) == 2;
    }
    EXPECT_TRUE(reopened) << "the cache was emptied on the way";
}

TEST_F(ZorTraceTest, NoLineIsLostWhileFilesAreSwitched) {
    constexpr int threadCount = 4, lineCount = 100;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([i] {
            for (int line = 0; line < lineCount; ++line)
                ZorTraceWrite("<%d.%d>", i, line);
        });
    for (int i = 0; i < 40; ++i) {
        ZorConfig::setTraceType(i % 2 != 0);
        ZorTrace::close();
    }
    for (auto& thread : threads)
        thread.join();
    ZorConfig::setTraceType(true);
    std::string all;
    for (const auto& entry : fs::directory_iterator(directory))
        all += readFile(entry.path());
    for (int i = 0; i < threadCount; ++i)
        for (int line = 0; line < lineCount; ++line) {
            const std::string text = "<" + std::to_string(i) + "." + std::to_string(line) + ">\n";
            EXPECT_NE(all.find(text), all.npos) << text;
            EXPECT_EQ(all.find(text), all.rfind(text)) << text;
        }
}

}  // namespace
