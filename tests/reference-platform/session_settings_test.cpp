#include "ZEPSettingsLocations.h"
#include "ZEPSysSettingRepository.h"
#include "ZEPTraceObserver.h"
#include "ZEPUnicodeString.h"
#include "session_test_support.h"

#include <clocale>
#include <memory>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

struct Releases {
  void operator()(ZEPSysSettingRepository* repository) const { repository->Release(); }
};

using Repository = std::unique_ptr<ZEPSysSettingRepository, Releases>;

Repository Open(const char* name) {
  return Repository(ZEPSysSettingRepository::GetRepository(name, 0));
}

// The value of the attribute, or what ReadAttr answered instead of 1.
std::string Read(const Repository& repository, const char* key) {
  ZEPUnicodeString value("untouched");
  const int answer = repository->ReadAttr(key, &value);
  if (answer != 1) {
    EXPECT_STREQ(value.ConvertToChar(), "untouched");
    return "answer " + std::to_string(answer);
  }
  return value.ConvertToChar();
}

void Collect(const ZEPTraceRecord& record, void* context) {
  static_cast<std::vector<std::string>*>(context)->push_back(std::string(record.className) + "|" +
                                                             record.text);
}

// The settings of a test: one directory that ZEP_SETTINGS_DIR names, and what is traced.
class Settings : public testing::Test {
protected:
  Settings() {
    session::SetEnvironment({{"ZEP_SETTINGS_DIR", m_directory.Path()}});
    ZEPSetTraceObserver(Collect, &m_traced, false);
  }
  ~Settings() override { ZEPSetTraceObserver(nullptr, nullptr, false); }

  Repository OpenWith(const std::string& content) {
    m_directory.Write("Repo.toml", content);
    return Open("Repo");
  }

  // The file is there and is no repository, which the trace and the state say in words.
  void ExpectProblem(const std::string& words) {
    m_traced.clear();
    const std::string path = m_directory.Path("Repo.toml");
    EXPECT_EQ(Open("Repo"), nullptr);
    EXPECT_THAT(m_traced,
                ElementsAre("ZEPSysSettingRepository|**** ERROR ****",
                            testing::AllOf(
                                testing::StartsWith("ZEPSysSettingRepository|**** settings " + path + ": "),
                                HasSubstr(words))));
    const auto state = ZEPFindSettingsFile("Repo");
    EXPECT_EQ(state.path, path);
    EXPECT_THAT(state.problem, HasSubstr(words));
  }

  session::TempDirectory m_directory;
  std::vector<std::string> m_traced;
};

std::string Repeated(const std::string& text, int count) {
  std::string repeated;
  for (int at = 0; at < count; ++at) {
    repeated += text;
  }
  return repeated;
}

} // namespace

TEST(settings_locations, follow_the_environment) {
  struct Row {
    int line;
    session::Environment environment;
    std::vector<std::string> locations;
  };
  const Row rows[] = {
      Row{__LINE__, {}, {"/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", ""}}, {"/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", "/h"}}, {"/h/.config/zepcfg", "/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", "/h"}, {"XDG_CONFIG_HOME", "/c"}}, {"/c/zepcfg", "/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", "/h"}, {"XDG_CONFIG_HOME", ""}}, {"/h/.config/zepcfg", "/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", "/h"}, {"XDG_CONFIG_HOME", "c"}}, {"/h/.config/zepcfg", "/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"HOME", "h"}}, {"/etc/xdg/zepcfg"}},
      Row{__LINE__, {{"XDG_CONFIG_DIRS", "/a:/b"}}, {"/a/zepcfg", "/b/zepcfg"}},
      Row{__LINE__, {{"XDG_CONFIG_DIRS", ":/a::b:/c:"}}, {"/a/zepcfg", "/c/zepcfg"}},
      Row{__LINE__, {{"ZEP_SETTINGS_DIR", "/s"}, {"HOME", "/h"}, {"XDG_CONFIG_DIRS", "/a"}}, {"/s"}},
      Row{__LINE__, {{"ZEP_SETTINGS_DIR", ""}, {"HOME", "/h"}}, {"/h/.config/zepcfg", "/etc/xdg/zepcfg"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    session::SetEnvironment(row.environment);
    EXPECT_EQ(ZEPSettingsLocations(), row.locations);
  }
}

TEST(settings_locations, first_file_found_is_the_repository) {
  const session::TempDirectory directory;
  session::SetEnvironment({{"HOME", directory.Path("home")},
                           {"XDG_CONFIG_DIRS", directory.Path("one") + ":" + directory.Path("two")}});
  EXPECT_EQ(Open("Repo"), nullptr);
  directory.Write("two/zepcfg/Repo.toml", "key = 'two'");
  EXPECT_EQ(Read(Open("Repo"), "key"), "two");
  directory.Write("one/zepcfg/Repo.toml", "key = 'one'");
  EXPECT_EQ(Read(Open("Repo"), "key"), "one");
  const std::string first = directory.Write("home/.config/zepcfg/Repo.toml", "key = 'home'");
  EXPECT_EQ(Read(Open("Repo"), "key"), "home");
  EXPECT_EQ(ZEPFindSettingsFile("Repo").path, first);
  EXPECT_EQ(ZEPFindSettingsFile("Repo").problem, "");
}

TEST(settings_locations, without_any_directory_nothing_is_found) {
  session::SetEnvironment({{"XDG_CONFIG_DIRS", ":"}});
  EXPECT_THAT(ZEPSettingsLocations(), IsEmpty());
  EXPECT_EQ(Open("Repo"), nullptr);
}

TEST_F(Settings, settings_repository_absent_is_no_problem) {
  EXPECT_EQ(Open("Repo"), nullptr);
  EXPECT_THAT(m_traced, IsEmpty());
  EXPECT_EQ(ZEPFindSettingsFile("Repo").path, "");
  EXPECT_EQ(ZEPFindSettingsFile("Repo").problem, "");
}

TEST_F(Settings, settings_attribute_is_read_when_it_is_a_text) {
  const auto repository = OpenWith("text = \"/a/${HOME}/b.xsl\"\n"
                                   "literal = 'C:\\a\\b.xsl'\n"
                                   "long = '''two\nlines'''\n"
                                   "foreign = 'caf\xc3\xa9 \xf0\x9f\x9a\x80'\n"
                                   "empty = ''\n"
                                   "number = 1\n"
                                   "float = 1.5\n"
                                   "yes = true\n"
                                   "date = 2024-01-01\n"
                                   "list = ['a']\n"
                                   "'dotted.key' = 'quoted'\n"
                                   "[table]\n"
                                   "inner = 'x'\n");
  ASSERT_NE(repository, nullptr);
  struct Row {
    int line;
    const char* key;
    const char* value;
  };
  const Row rows[] = {
      Row{__LINE__, "text", "/a/${HOME}/b.xsl"},
      Row{__LINE__, "literal", "C:\\a\\b.xsl"},
      Row{__LINE__, "long", "two\nlines"},
      Row{__LINE__, "foreign", "caf\xc3\xa9 \xf0\x9f\x9a\x80"},
      Row{__LINE__, "empty", ""},
      Row{__LINE__, "dotted.key", "quoted"},
      Row{__LINE__, "number", "answer 0"},
      Row{__LINE__, "float", "answer 0"},
      Row{__LINE__, "yes", "answer 0"},
      Row{__LINE__, "date", "answer 0"},
      Row{__LINE__, "list", "answer 0"},
      Row{__LINE__, "table", "answer 0"},
      Row{__LINE__, "table.inner", "answer 0"},
      Row{__LINE__, "inner", "answer 0"},
      Row{__LINE__, "Text", "answer 0"},
      Row{__LINE__, "", "answer 0"},
      Row{__LINE__, nullptr, "answer 0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(Read(repository, row.key), row.value);
  }
  EXPECT_EQ(repository->ReadAttr("text", nullptr), 0);
  EXPECT_THAT(m_traced, IsEmpty());
}

TEST_F(Settings, settings_repository_is_read_anew_each_time) {
  const auto before = OpenWith("key = 'one'");
  const auto after = OpenWith("key = 'two'");
  EXPECT_EQ(Read(before, "key"), "one");
  EXPECT_EQ(Read(after, "key"), "two");
}

TEST_F(Settings, settings_file_may_begin_with_a_byte_order_mark_or_be_empty) {
  EXPECT_EQ(Read(OpenWith("\xef\xbb\xbfkey = 'x'\r\n"), "key"), "x");
  EXPECT_EQ(Read(OpenWith(""), "key"), "answer 0");
  EXPECT_THAT(m_traced, IsEmpty());
}

TEST_F(Settings, settings_file_that_is_no_toml_is_an_absent_repository) {
  struct Row {
    int line;
    std::string content;
    const char* words;
  };
  const Row rows[] = {
      Row{__LINE__, "key = 'x'\nother\n", "line 2, column "},
      Row{__LINE__, "key = 'open", "line 1, column "},
      Row{__LINE__, "key = 1\nkey = 2\n", "line 2, column "},
      Row{__LINE__, std::string("key = 'a\0b'", 11), "line 1, column "},
      Row{__LINE__, "key = 'caf\xe9'\n", "utf-8"},
      Row{__LINE__, "# caf\xe9\nkey = 'x'\n", "utf-8"},
      Row{__LINE__, std::string("\xff\xfek\0e\0y\0", 8), "line 1, column "},
      Row{__LINE__, "key = " + std::string(100'000, '[') + std::string(100'000, ']'), "nest"},
      Row{__LINE__, "key = " + Repeated("{a=", 100'000), "nest"},
      Row{__LINE__, "a" + Repeated(".a", 400'000) + " = 1", "nests its tables too deeply"},
      Row{__LINE__, "[a" + Repeated(".a", 400'000) + "]", "nests its tables too deeply"},
      Row{__LINE__, "[a" + Repeated(".'x'", 200'000) + "]\nwrong", "nests its tables too deeply"},
      Row{__LINE__, "k = [\"\"\"\"\"\"\", {a" + Repeated(".a", 400'000) + " = 1}]",
          "nests its tables too deeply"},
      Row{__LINE__, "k = \"\\\"\"\na" + Repeated(".a", 400'000) + " = 1#\"", "nests its tables too deeply"},
      Row{__LINE__, "#'\na" + Repeated(".a", 400'000) + " = 1#'", "nests its tables too deeply"},
      Row{__LINE__, Repeated(" ", 1024 * 1024 + 1), "larger than 1 MB"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    m_directory.Write("Repo.toml", row.content);
    ExpectProblem(row.words);
  }
}

TEST_F(Settings, settings_file_with_many_dots_in_its_texts_is_read) {
  const std::string dots(5000, '.');
  const auto repository = OpenWith("a = '" + dots + "'\nb = \"\\\"" + dots + "\"\nc = '''\n'" + dots +
                                   "''''\nd = \"\"\"" + dots + "\\\"\"\"\" # " + dots + "\n");
  ASSERT_NE(repository, nullptr);
  EXPECT_EQ(Read(repository, "a"), dots);
  EXPECT_EQ(Read(repository, "b"), "\"" + dots);
  EXPECT_EQ(Read(repository, "c"), "'" + dots + "'");
  EXPECT_EQ(Read(repository, "d"), dots + "\"");
}

TEST_F(Settings, settings_file_of_exactly_the_limit_is_read) {
  const std::string end = "\nkey = 'x'";
  EXPECT_EQ(Read(OpenWith(std::string(1024 * 1024 - end.size(), '\n') + end), "key"), "x");
}

TEST_F(Settings, settings_file_that_is_no_regular_file_is_an_absent_repository) {
  const std::string path = m_directory.Path("Repo.toml");
  std::filesystem::create_directory(path);
  ExpectProblem("is a directory");
  std::filesystem::remove(path);

  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  alarm(20);
  ExpectProblem("is not a regular file");
  alarm(0);
  std::filesystem::remove(path);

  std::filesystem::create_symlink("/dev/zero", path);
  ExpectProblem("is not a regular file");
  std::filesystem::remove(path);

  std::filesystem::create_symlink(m_directory.Path("missing"), path);
  ExpectProblem("cannot be opened: No such file or directory");
  std::filesystem::remove(path);

  std::filesystem::create_symlink(path, path);
  ExpectProblem("cannot be opened: ");
}

TEST_F(Settings, settings_file_that_others_hold_open_or_that_cannot_be_read_is_an_absent_repository) {
  const std::string path = m_directory.Path("Repo.toml");
  alarm(20);
  // A pipe whose writer never writes.
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int pipe = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  ExpectProblem("is not a regular file");
  close(pipe);
  std::filesystem::remove(path);

  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof(address.sun_path));
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ExpectProblem("cannot be opened: ");
  close(listener);
  std::filesystem::remove(path);

  for (const char* const device : {"/dev/null", "/dev/full", "/dev/tty", "/dev/stdin"}) {
    SCOPED_TRACE(device);
    std::filesystem::create_symlink(device, path);
    m_traced.clear();
    EXPECT_EQ(Open("Repo"), nullptr);
    EXPECT_THAT(m_traced, testing::SizeIs(2));
    std::filesystem::remove(path);
  }

  // A regular file by its kind, which gives an error instead of bytes.
  std::filesystem::create_symlink("/proc/self/mem", path);
  ExpectProblem("cannot be read: ");
  std::filesystem::remove(path);

  // One that is longer than it says.
  std::filesystem::create_symlink("/proc/self/smaps", path);
  ExpectProblem("");
  alarm(0);
}

TEST_F(Settings, settings_file_may_be_a_link) {
  m_directory.Write("Other.toml", "key = 'x'");
  std::filesystem::create_symlink("Other.toml", m_directory.Path("Repo.toml"));
  EXPECT_EQ(Read(Open("Repo"), "key"), "x");
}

TEST_F(Settings, settings_file_that_may_not_be_read_is_an_absent_repository) {
  m_directory.Write("Repo.toml", "key = 'x'");
  std::filesystem::permissions(m_directory.Path("Repo.toml"), std::filesystem::perms::none);
  using std::filesystem::perms;
  std::filesystem::permissions(m_directory.Path(), perms::owner_all | perms::group_exec | perms::others_exec);
  const bool isRoot = geteuid() == 0;
  // Nothing is refused to root: the question is asked as somebody else.
  ASSERT_EQ(isRoot ? seteuid(65534) : 0, 0);
  ExpectProblem("cannot be opened: Permission denied");
  ASSERT_EQ(isRoot ? seteuid(0) : 0, 0);
}

TEST_F(Settings, settings_repository_name_is_one_file_name) {
  m_directory.Write("inner/Repo.toml", "key = 'x'");
  m_directory.Write("Repo.toml", "key = 'x'");
  const std::string tooLong(300, 'x');
  for (const char* name : {"inner/Repo", "./Repo", "../Repo", "..", "inner/../Repo", "/etc/passwd", "a\\b",
                           "Repo..", "Re\npo", "", tooLong.c_str(), static_cast<const char*>(nullptr)}) {
    SCOPED_TRACE(name != nullptr ? name : "(null)");
    m_traced.clear();
    EXPECT_EQ(Open(name), nullptr);
    EXPECT_THAT(m_traced, testing::Contains(HasSubstr("not a name of a settings repository")));
    EXPECT_EQ(ZEPFindSettingsFile(name).path, "");
    EXPECT_THAT(ZEPFindSettingsFile(name).problem, HasSubstr("not a name of a settings repository"));
  }
  EXPECT_NE(Open("Repo"), nullptr);
}

TEST_F(Settings, settings_are_read_in_every_locale) {
  m_directory.Write("Repo.toml", "number = 1.5\nkey = 'x'\nINSTALLIT = 'I'\n");
  for (const std::string language : {"de_DE", "tr_TR"}) {
    SCOPED_TRACE(language);
    const std::string locale = language + ".UTF-8";
    const std::string command =
        "localedef -i " + language + " -f UTF-8 --no-archive " + m_directory.Path(locale) + " 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    // Neither HOME nor anything of XDG is set.
    EXPECT_EQ(session::InChild({{"ZEP_SETTINGS_DIR", m_directory.Path()}, {"LOCPATH", m_directory.Path()}},
                               [&] {
                                 if (setlocale(LC_ALL, locale.c_str()) == nullptr) {
                                   return 1;
                                 }
                                 const auto repository = Open("Repo");
                                 return Read(repository, "key") == "x" &&
                                                Read(repository, "INSTALLIT") == "I" &&
                                                Read(repository, "installit") == "answer 0"
                                            ? 0
                                            : 2;
                               }),
              0);
  }
}
