#include "Text.h"
#include "XMLDecoding.h"

#include <gmock/gmock.h>

using namespace std::string_literals;
using testing::HasSubstr;
using zep::cli::decodeText;
using zep::cli::decodeXML;
using zep::cli::DecodingError;
using zep::cli::toUTF8;

namespace {

struct Row {
  std::string bytes;
  std::string text; // UTF-8
  int line = __builtin_LINE();
};

struct FailureRow {
  std::string bytes;
  std::string words;
  int line = __builtin_LINE();
};

std::string failureOf(const std::string& bytes) {
  try {
    decodeXML(bytes);
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "no failure";
}

} // namespace

TEST(XMLDecoding, encoding_is_told_by_mark_shape_or_declaration) {
  const Row rows[] = {
      Row{"", ""},
      Row{"<a>\xC3\xA9</a>", "<a>é</a>"},
      Row{"\xEF\xBB\xBF<a/>", "<a/>"},
      Row{"\xFF\xFE<\0a\0/\0>\0"s, "<a/>"},
      Row{"\xFE\xFF\0<\0a\0/\0>"s, "<a/>"},
      Row{"\xFF\xFE\0\0<\0\0\0a\0\0\0/\0\0\0>\0\0\0"s, "<a/>"},
      Row{"\0\0\xFE\xFF\0\0\0<"s, "<"},
      Row{"<\0a\0>\0=\xD8\x26\xDC"s, "<a>🐦"},
      Row{"\0<\0a\0>"s, "<a>"},
      Row{"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>",
          "<?xml version='1.0' encoding='ISO-8859-1'?><a>é</a>"},
      Row{"<?xml version=\"1.0\"\n encoding = \"windows-1252\"?>\x80",
          "<?xml version=\"1.0\"\n encoding = \"windows-1252\"?>€"},
      Row{"<?xml version='1.0' encoding='Shift_JIS'?>\x93\xFA",
          "<?xml version='1.0' encoding='Shift_JIS'?>日"},
      Row{"\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?>\xC3\xA9",
          "<?xml version='1.0' encoding='ISO-8859-1'?>é"},
      Row{" <?xml version='1.0' encoding='ISO-8859-1'?>\xC3\xA9",
          " <?xml version='1.0' encoding='ISO-8859-1'?>é"},
      Row{"<?xml version='1.0'?><a encoding='ISO-8859-1'>\xC3\xA9</a>",
          "<?xml version='1.0'?><a encoding='ISO-8859-1'>é</a>"},
      Row{"a\0b"s, "a\0b"s},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(toUTF8(decodeXML(row.bytes)), row.text);
  }
}

TEST(XMLDecoding, failure_names_the_offset_of_the_first_wrong_byte) {
  const FailureRow rows[] = {
      FailureRow{"<a>\xE9</a>", "not UTF-8: the byte at offset 3 "},
      FailureRow{"<a>\xC3\xA9\xFF", "offset 5 "},
      FailureRow{"<a>\xE2\x82", "offset 3 "},
      FailureRow{"\xEF\xBB\xBF\x80", "offset 3 "},
      FailureRow{"<a>\xED\xA0\x80</a>", "offset 3 "},
      FailureRow{"\xFF\xFE<\0\0\xD8<\0"s, "not UTF-16LE: the byte at offset 4 "},
      FailureRow{"\xFF\xFE<"s, "offset 2 "},
      FailureRow{"<?xml version='1.0' encoding='US-ASCII'?>\xC3", "not US-ASCII: the byte at offset 41 "},
      FailureRow{std::string(100'000, 'a') + "\x80", "offset 100000 "},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_THAT(failureOf(row.bytes), HasSubstr(row.words));
  }
}

TEST(XMLDecoding, failure_names_the_encoding_that_is_not_known_or_not_kept) {
  const FailureRow rows[] = {
      FailureRow{"<?xml version='1.0' encoding='no-such'?><a/>", "'no-such'"},
      FailureRow{"<?xml version='1.0' encoding='UTF-16'?><a/>", "'UTF-16' but is not written in it"},
      FailureRow{"<?xml version='1.0' encoding='ucs-4'?><a/>", "'ucs-4' but is not written in it"},
  };
  for (const FailureRow& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_THAT(failureOf(row.bytes), HasSubstr(row.words));
  }
}

TEST(XMLDecoding, plain_text_looks_at_no_declaration) {
  EXPECT_EQ(toUTF8(decodeText("<?xml version='1.0' encoding='ISO-8859-1'?>\xC3\xA9")),
            "<?xml version='1.0' encoding='ISO-8859-1'?>é");
  EXPECT_EQ(toUTF8(decodeText("\xFE\xFF\0{"s)), "{");
}
