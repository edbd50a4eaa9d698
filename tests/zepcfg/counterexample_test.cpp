#include "Counterexample.h"

#include <gtest/gtest.h>

using zep::Configuration;
using zep::ConfigurationValue;
using zep::FilterVariableKind;
using zep::cli::asJSON;
using zep::cli::inWords;

namespace {

struct Row {
  ConfigurationValue entry;
  std::string words;
  const char* object;
  int line = __builtin_LINE();
};

} // namespace

TEST(Counterexample, each_value_has_a_line_and_an_object) {
  const Row rows[] = {
      Row{{FilterVariableKind::Holder, "", "Model Kestrel 40"},
          "holder: Model Kestrel 40\n",
          R"({"kind":"holder","name":null,"value":"Model Kestrel 40"})"},
      Row{{FilterVariableKind::Holder, "", std::nullopt},
          "holder: (any that neither names)\n",
          R"({"kind":"holder","name":null,"value":null})"},
      Row{{FilterVariableKind::Inherited, "Variant 1201", "holds"},
          "inherited effectivity Variant 1201 = holds\n",
          R"({"kind":"inherited","name":"Variant 1201","value":"holds"})"},
      Row{{FilterVariableKind::Inherited, "Variant 1201", std::nullopt},
          "inherited effectivity Variant 1201 = does not hold\n",
          R"({"kind":"inherited","name":"Variant 1201","value":null})"},
      Row{{FilterVariableKind::Feature, "Engine", "V6"},
          "Engine = V6\n",
          R"({"kind":"feature","name":"Engine","value":"V6"})"},
      Row{{FilterVariableKind::Feature, "Engine", std::nullopt},
          "Engine = (any value that neither names)\n",
          R"({"kind":"feature","name":"Engine","value":null})"},
      Row{{FilterVariableKind::Date, "", "2025-03-31"},
          "date = 2025-03-31\n",
          R"({"kind":"date","name":null,"value":"2025-03-31"})"},
      Row{{FilterVariableKind::Unit, "", "11"}, "unit = 11\n", R"({"kind":"unit","name":null,"value":"11"})"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(inWords(Configuration{row.entry}), row.words);
    EXPECT_EQ(asJSON({row.entry}).dump(), "[" + std::string(row.object) + "]");
  }
}

TEST(Counterexample, values_keep_their_order) {
  const Configuration configuration{{FilterVariableKind::Feature, "Roof", "Panorama"},
                                    {FilterVariableKind::Unit, "", "11"}};
  EXPECT_EQ(inWords(configuration), "Roof = Panorama\nunit = 11\n");
  EXPECT_EQ(asJSON(configuration).size(), 2U);
}

TEST(Counterexample, nothing_that_matters_is_said_in_words) {
  EXPECT_EQ(inWords(Configuration{}), "any configuration\n");
  EXPECT_EQ(asJSON({}).dump(), "[]");
}

TEST(Counterexample, names_stay_on_their_line_and_drive_no_terminal) {
  const Configuration configuration{{FilterVariableKind::Feature, "a\nyes", "\x1B[2J"}};
  EXPECT_EQ(inWords(configuration), "a\\x0Ayes = \\x1B[2J\n");
  EXPECT_EQ(asJSON(configuration)[0]["name"], "a\nyes");
}
