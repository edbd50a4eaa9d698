#include "ZEPFile.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr unsigned int kUntouched = 4711;
constexpr unsigned int kNeverOpened = 0xFFFFFFF0U;

class Files : public testing::Test {
protected:
  Files() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zep-files-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary directory");
    }
    m_directory = pattern;
  }
  ~Files() override { std::filesystem::remove_all(m_directory); }

  std::string Path(const std::string& name) const { return m_directory + "/" + name; }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

  std::string m_directory;
};

ZEPUnicodeString Text(const std::string& bytes) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(bytes.data(), bytes.size());
  return text;
}

std::string WithBackslashes(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

unsigned int Open(const std::string& path) {
  unsigned int descriptor = kUntouched;
  EXPECT_EQ(ZEPFOpen(Text(path), "r", &descriptor), S_OK) << path;
  return descriptor;
}

// Each piece that ZEPFGets gives out, up to the first NUL as a caller sees it.
std::vector<std::string> ReadPieces(const std::string& path, int size) {
  const unsigned int descriptor = Open(path);
  std::vector<std::string> pieces;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  while (ZEPFEof(descriptor) != 0) {
    if (ZEPFGets(buffer.data(), size, descriptor) != S_OK) {
      ADD_FAILURE() << "read failed";
      break;
    }
    pieces.emplace_back(buffer.data());
  }
  EXPECT_EQ(ZEPFClose(descriptor), S_OK);
  return pieces;
}

TEST_F(Files, Info_TellsWhatExists_EachForm) {
  const std::string file = Write("f.xsl", "12345");
  std::filesystem::create_directories(Path("sub/deep"));
  Write("sub/deep/g.xsl", "1");
  Write("caf\xC3\xA9.xsl", "1");
  std::filesystem::create_symlink(Path("missing"), Path("dangling"));
  std::filesystem::create_symlink(file, Path("link"));
  struct Row {
    int line;
    std::string path;
    bool exists;
  };
  const Row rows[] = {
      Row{__LINE__, file, true},
      Row{__LINE__, m_directory, true},
      Row{__LINE__, Path("link"), true},
      Row{__LINE__, WithBackslashes(file), true},
      Row{__LINE__, Path("sub\\deep\\g.xsl"), true},
      Row{__LINE__, Path("sub\\deep/g.xsl"), true},
      Row{__LINE__, Path("sub\\\\deep\\g.xsl"), true},
      Row{__LINE__, Path("caf\xC3\xA9.xsl"), true},
      Row{__LINE__, Path("missing"), false},
      Row{__LINE__, Path("missing\\g.xsl"), false},
      Row{__LINE__, Path("dangling"), false},
      Row{__LINE__, Path("f.xsl/below"), false},
      Row{__LINE__, file + "\0"s, false},
      Row{__LINE__, file + "\0.txt"s, false},
      Row{__LINE__, "\0"s, false},
      Row{__LINE__, "", false},
      Row{__LINE__, Path(std::string(5000, 'x')), false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    struct stat untouched;
    std::memset(&untouched, 0x5A, sizeof untouched);
    struct stat info = untouched;
    ZEPUnicodeString path = Text(row.path);
    EXPECT_EQ(ZEPGetFileInfo(path, &info) == 0, row.exists);
    EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info) == 0, !row.exists);
    info = untouched;
    EXPECT_EQ(ZEPFileStat(&path, &info, 0), row.exists ? S_OK : E_FAIL);
    EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info) == 0, !row.exists);
    EXPECT_EQ(ZEPGetFileInfo(path, nullptr) == 0, row.exists);
    EXPECT_EQ(ZEPFileStat(&path, nullptr, 0), row.exists ? S_OK : E_FAIL);
    EXPECT_TRUE(path == Text(row.path));
  }
}

TEST_F(Files, Info_IsThatOfTheFile_FoundUnderEitherForm) {
  const std::string file = Write("f.xsl", "12345");
  struct stat info;
  ASSERT_EQ(ZEPGetFileInfo(Text(file), &info), 0);
  EXPECT_EQ(info.st_size, 5);
  EXPECT_TRUE(S_ISREG(info.st_mode));
  ZEPUnicodeString backslashes = Text(WithBackslashes(file));
  ASSERT_EQ(ZEPFileStat(&backslashes, &info, 0), S_OK);
  EXPECT_EQ(info.st_size, 5);
}

TEST_F(Files, Path_IsTakenAsGiven_WhenThatExists) {
  std::filesystem::create_directory(Path("a"));
  Write("a/b", "under the slash form");
  Write("a\\b", "as given");
  EXPECT_EQ(ReadPieces(Path("a\\b"), 100), std::vector<std::string>{"as given"});
  std::filesystem::remove(Path("a\\b"));
  EXPECT_EQ(ReadPieces(Path("a\\b"), 100), std::vector<std::string>{"under the slash form"});
}

TEST_F(Files, FileStat_Fails_WrongArguments) {
  ZEPUnicodeString path = Text(Write("f", "x"));
  struct stat info;
  EXPECT_EQ(ZEPFileStat(nullptr, &info, 0), E_POINTER);
  EXPECT_EQ(ZEPFileStat(&path, &info, 1), E_INVALIDARG);
}

TEST_F(Files, Gets_GivesLines_EachShapeOfFile) {
  struct Row {
    int line;
    std::string content;
    int size;
    std::vector<std::string> pieces;
  };
  const std::string x1022(1022, 'x');
  const std::string x1023(1023, 'x');
  const Row rows[] = {
      Row{__LINE__, "", 1024, {}},
      Row{__LINE__, "one\n", 1024, {"one\n"}},
      Row{__LINE__, "one\ntwo\n", 1024, {"one\n", "two\n"}},
      Row{__LINE__, "one\ntwo", 1024, {"one\n", "two"}},
      Row{__LINE__, "\n\n", 1024, {"\n", "\n"}},
      Row{__LINE__, "one\r\ntwo\r\n", 1024, {"one\r\n", "two\r\n"}},
      Row{__LINE__, "old\rmac", 1024, {"old\rmac"}},
      Row{__LINE__, "\xEF\xBB\xBF<a/>\n", 1024, {"\xEF\xBB\xBF<a/>\n"}},
      Row{__LINE__, "a\0b\nc\n"s, 1024, {"a", "c\n"}},
      Row{__LINE__, "\0\nc\n"s, 1024, {"", "c\n"}},
      Row{__LINE__, x1022 + "\nnext", 1024, {x1022 + "\n", "next"}},
      Row{__LINE__, x1023 + "\nnext", 1024, {x1023, "\n", "next"}},
      Row{__LINE__, x1023, 1024, {x1023}},
      Row{__LINE__, x1023 + x1023 + "yz\nnext\n", 1024, {x1023, x1023, "yz\n", "next\n"}},
      Row{__LINE__, "abc\n", 2, {"a", "b", "c", "\n"}},
      Row{__LINE__, "abc\n", 3, {"ab", "c\n"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(ReadPieces(Write("lines", row.content), row.size), row.pieces);
  }
}

TEST_F(Files, Gets_GivesTheWholeFile_LargeFile) {
  std::string content;
  for (std::size_t i = 0; content.size() < 300000; ++i) {
    content += std::string((i * 7919) % 2500, static_cast<char>('a' + i % 26)) + "\n";
  }
  std::string read;
  for (const std::string& piece : ReadPieces(Write("large", content), 1024)) {
    ASSERT_LE(piece.size(), 1023U);
    read += piece;
  }
  EXPECT_EQ(read, content);
}

TEST_F(Files, Gets_FailsBehindTheLastLine) {
  const unsigned int file = Open(Write("one", "1\n"));
  char buffer[16];
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), S_OK);
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), E_FAIL);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(ZEPFClose(file), S_OK);
}

TEST_F(Files, Gets_ChecksItsArguments_WithoutTakingAnything) {
  const unsigned int file = Open(Write("f", "line\n"));
  EXPECT_EQ(ZEPFGets(nullptr, 16, file), E_POINTER);
  for (const int size : {1, 0, -1, -2147483647 - 1}) {
    SCOPED_TRACE(size);
    char buffer[] = "before";
    EXPECT_EQ(ZEPFGets(buffer, size, file), E_INVALIDARG);
    EXPECT_STREQ(buffer, size > 0 ? "" : "before");
  }
  char buffer[16];
  EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), S_OK);
  EXPECT_STREQ(buffer, "line\n");
  EXPECT_EQ(ZEPFClose(file), S_OK);
}

TEST_F(Files, Descriptor_IsRefused_WhenNotOpen) {
  const unsigned int closed = Open(Write("f", "line\n"));
  EXPECT_EQ(ZEPFClose(closed), S_OK);
  const unsigned int other = Open(Path("f"));
  for (const unsigned int descriptor : {closed, 0U, kNeverOpened}) {
    SCOPED_TRACE(descriptor);
    char buffer[16] = "before";
    EXPECT_EQ(ZEPFClose(descriptor), E_HANDLE);
    EXPECT_EQ(ZEPFEof(descriptor), 0);
    EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, descriptor), E_HANDLE);
    EXPECT_STREQ(buffer, "");
  }
  EXPECT_EQ(ZEPFClose(other), S_OK);
}

TEST_F(Files, Open_FailsAtOnce_WhatIsNoRegularFile) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink(Path("fifo"), Path("link-to-fifo"));
  for (const std::string& path :
       {m_directory, Path("fifo"), Path("link-to-fifo"), "/dev/zero"s, "/dev/tty"s, Path("missing"), ""s}) {
    SCOPED_TRACE(path);
    unsigned int descriptor = kUntouched;
    EXPECT_EQ(ZEPFOpen(Text(path), "r", &descriptor), E_FAIL);
    EXPECT_EQ(descriptor, kUntouched);
  }
}

// Has the file been opened since the last question?
class OpenWatch {
public:
  explicit OpenWatch(const std::string& path) : m_watch(inotify_init1(IN_NONBLOCK)) {
    EXPECT_GE(inotify_add_watch(m_watch, path.c_str(), IN_OPEN), 0);
  }
  OpenWatch(const OpenWatch&) = delete;
  OpenWatch& operator=(const OpenWatch&) = delete;
  ~OpenWatch() { close(m_watch); }

  bool WasOpened() const {
    char events[4096];
    return read(m_watch, events, sizeof events) > 0;
  }

private:
  int m_watch;
};

TEST_F(Files, Open_DoesNotTouch_WhatIsNoRegularFile) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  const OpenWatch fifo(Path("fifo"));
  unsigned int descriptor = kUntouched;
  EXPECT_EQ(ZEPFOpen(Text(Path("fifo")), "r", &descriptor), E_FAIL);
  EXPECT_FALSE(fifo.WasOpened());

  const OpenWatch file(Write("f", "x"));
  EXPECT_EQ(ZEPFClose(Open(Path("f"))), S_OK);
  EXPECT_TRUE(file.WasOpened());
}

TEST_F(Files, Open_Fails_WrongArguments) {
  const ZEPUnicodeString path = Text(Write("f", "line\n"));
  unsigned int descriptor = kUntouched;
  for (const char* const mode : {"w", "rb", "r+", "a", "", " r"}) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(ZEPFOpen(path, mode, &descriptor), E_INVALIDARG);
  }
  EXPECT_EQ(ZEPFOpen(path, nullptr, &descriptor), E_POINTER);
  EXPECT_EQ(ZEPFOpen(path, "r", nullptr), E_POINTER);
  EXPECT_EQ(ZEPFOpen(Text(Path("f") + "\0x"s), "r", &descriptor), E_FAIL);
  EXPECT_EQ(descriptor, kUntouched);
}

TEST_F(Files, Open_FailsWithAccessDenied_UnreadableFile) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may read every file";
  }
  const std::string path = Write("secret", "x");
  chmod(path.c_str(), 0);
  unsigned int descriptor = kUntouched;
  EXPECT_EQ(ZEPFOpen(Text(path), "r", &descriptor), E_ACCESSDENIED);
  EXPECT_EQ(descriptor, kUntouched);
}

TEST_F(Files, Open_Fails_WhenTheSystemHasNoDescriptorLeft) {
  const ZEPUnicodeString path = Text(Write("f", "line\n"));
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  unsigned int descriptor = kUntouched;
  const long result = ZEPFOpen(path, "r", &descriptor);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(result, E_FAIL);
  EXPECT_EQ(descriptor, kUntouched);
}

// The first page of a process is never mapped, so that reading it is an error of the system.
TEST_F(Files, Gets_Fails_WhenTheSystemCannotRead) {
  const unsigned int file = Open("/proc/self/mem");
  EXPECT_NE(ZEPFEof(file), 0); // not the end: the failure is still to be reported
  for (int attempt = 0; attempt < 2; ++attempt) {
    char buffer[16] = "before";
    EXPECT_EQ(ZEPFGets(buffer, sizeof buffer, file), E_FAIL);
    EXPECT_STREQ(buffer, "");
    EXPECT_NE(ZEPFEof(file), 0);
  }
  EXPECT_EQ(ZEPFClose(file), S_OK);
}

TEST_F(Files, Close_GivesTheSystemDescriptorBack_ManyFiles) {
  const std::string path = Write("f", "line\n");
  const auto openNow = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto before = openNow();
  std::vector<unsigned int> descriptors;
  for (int i = 0; i < 100; ++i) {
    descriptors.push_back(Open(path));
  }
  EXPECT_EQ(openNow(), before + 100);
  std::sort(descriptors.begin(), descriptors.end());
  EXPECT_EQ(std::unique(descriptors.begin(), descriptors.end()), descriptors.end());
  for (const unsigned int descriptor : descriptors) {
    EXPECT_EQ(ZEPFClose(descriptor), S_OK);
  }
  EXPECT_EQ(openNow(), before);
}

TEST_F(Files, Threads_ReadTheirOwnFiles_AtTheSameTime) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    const std::string line = "thread " + std::to_string(i) + "\n";
    std::string content;
    for (int k = 0; k < 500; ++k) {
      content += line;
    }
    const std::string path = Write(std::to_string(i), content);
    threads.emplace_back([path, line] {
      for (int round = 0; round < 20; ++round) {
        const std::vector<std::string> pieces = ReadPieces(path, 64);
        EXPECT_EQ(pieces.size(), 500U);
        EXPECT_EQ(std::count(pieces.begin(), pieces.end(), line), 500);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

} // namespace
