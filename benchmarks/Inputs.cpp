#include "Inputs.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace inputs {
namespace {

// Numbers without a pattern that a processor could learn, and without a library whose next version would
// give others.
class Numbers {
public:
  explicit Numbers(unsigned seed) : m_state(seed + 1U) {}

  std::size_t Below(std::size_t bound) {
    m_state += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = m_state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return static_cast<std::size_t>((mixed ^ (mixed >> 31U)) % bound);
  }

  template <std::size_t count>
  const char* OneOf(const std::array<const char*, count>& texts) {
    return texts.at(Below(count));
  }

private:
  std::uint64_t m_state;
};

constexpr std::size_t labelCount = 4;
constexpr std::array models{"Kestrel 40", "Kestrel 40 Cargo", "Heron", "Heron GT", "Lapwing 2"};
constexpr std::array features{"HS", "WS", "TOW", "ROOF", "AUDIO", "SEAT"};
constexpr std::array summaries{"Winter equipment", "As agreed with sales", "Türen und Fenster",
                               "Second supplier"};
constexpr std::array labels{"Heated seats", "Windscreen, heated", "Sièges chauffants", "Tow bar",
                            "Roof rails"};

std::string digits(std::size_t number) {
  return std::to_string(number);
}

std::string description(Numbers& numbers) {
  std::string text = "  <Description>\n    <Summary>";
  text += numbers.OneOf(summaries);
  text += "</Summary>\n";
  for (std::size_t i = 0; i < labelCount; ++i) {
    text += "    <Label Id=\"L" + digits(i) + "\">" + numbers.OneOf(labels) + "</Label>\n";
  }
  return text + "  </Description>\n";
}

std::string feature(Numbers& numbers) {
  std::string text = "<Feature Name=\"";
  text += numbers.OneOf(features);
  text += "\" DescId=\"L" + digits(numbers.Below(labelCount * 2)) + "\">"; // half of them without a label
  for (std::size_t values = 1 + numbers.Below(3); values > 0; --values) {
    text += "<Value Name=\"V" + digits(numbers.Below(40)) + "\"/>";
  }
  return text + "</Feature>";
}

std::string unitRange(Numbers& numbers) {
  const std::size_t from = numbers.Below(900);
  const std::string upTo = numbers.Below(2) == 0 ? "" : " To=\"" + digits(from + numbers.Below(90)) + "\"";
  return "<UnitRange From=\"" + digits(from) + "\"" + upTo + "/>";
}

std::string dateRange(Numbers& numbers) {
  const std::string year = digits(2020 + numbers.Below(9));
  return "<DateRange From=\"" + year + "-04-01\" To=\"" + year + "-09-30\"/>";
}

std::string context(Numbers& numbers) {
  std::string text = "  <Context HolderType=\"Model\" HolderName=\"";
  text += numbers.OneOf(models);
  text += "\">\n    <InheritedEff Domain=\"Variant\" FilterableId=\"" + digits(1000 + numbers.Below(9000)) +
          "\" HolderName=\"" + numbers.OneOf(models) + "\"/>\n";
  text += "    <Change Name=\"CHG-" + digits(1000 + numbers.Below(9000)) + "\" OperationHandlerId=\"" +
          digits(10000 + numbers.Below(90000)) + "\"/>\n";
  text += "    <And>\n      " + feature(numbers) + "\n      <Not>" + dateRange(numbers) + "</Not>\n";
  text += "      <Or>" + unitRange(numbers) + unitRange(numbers) + "</Or>\n    </And>\n";
  return text + "  </Context>\n";
}

std::string jsonEscaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '\n') {
      escaped += "\\n";
      continue;
    }
    if (character == '"' || character == '\\') {
      escaped += '\\';
    }
    escaped += character;
  }
  return escaped;
}

constexpr std::size_t wordUnits = 8;

bool isASCII(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return (word & 0x8080808080808080U) == 0;
}

bool isASCII(const char16_t* units) {
  std::array<std::uint64_t, 2> words{};
  std::memcpy(words.data(), units, sizeof words);
  return ((words[0] | words[1]) & 0xFF80FF80FF80FF80U) == 0;
}

} // namespace

std::string expression(std::size_t bytes, unsigned number) {
  Numbers numbers(number);
  std::string text =
      "<EffectivityExpression xmlns=\"urn:zep:configuration-expression\">\n" + description(numbers);
  do {
    text += context(numbers);
  } while (text.size() + 300 < bytes); // a context has about 600
  return text + "</EffectivityExpression>\n";
}

std::vector<std::string> expressions(std::size_t count, std::size_t bytes) {
  std::vector<std::string> all;
  for (std::size_t i = 0; i < count; ++i) {
    all.push_back(expression(bytes, static_cast<unsigned>(i)));
  }
  return all;
}

std::string expressionWithDescIds(std::size_t count) {
  Numbers numbers(0);
  std::string text = "<EffectivityExpression><Context HolderType=\"Model\" HolderName=\"Heron\"><And>\n";
  for (std::size_t i = 0; i < count; ++i) {
    text += "<Feature Name=\"";
    text += numbers.OneOf(features);
    text += "\" DescId=\"L" + digits(numbers.Below(1000)) + "\"/>\n";
  }
  return text + "</And></Context></EffectivityExpression>\n";
}

std::string stylesheet(std::size_t bytes) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">\n"
                     "  <xsl:output method=\"text\" encoding=\"UTF-8\"/>\n";
  for (std::size_t number = 0; text.size() < bytes; ++number) {
    text += "  <!-- Größe und Lage, Nr. " + digits(number) +
            " -->\n  <xsl:template match=\"Feature[@Name = 'F" + digits(number) +
            "']\">\n"
            "    <xsl:param name=\"indent\"/>\n"
            "    <xsl:value-of select=\"concat($indent, @Name, ' = ')\"/>\n"
            "    <xsl:apply-templates select=\"Value\"/>\n"
            "    <xsl:text>&#10;</xsl:text>\n"
            "  </xsl:template>\n";
  }
  return text + "</xsl:stylesheet>\n";
}

std::string stylesheetAnswer(std::string_view stylesheet) {
  return "{\"xslt\":{\"content\":\"" + jsonEscaped(stylesheet) + "\"}}";
}

std::u16string toUTF16(std::string_view text) {
  std::u16string units(text.size(), u'\0');
  std::size_t made = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (at + wordUnits <= text.size() && isASCII(text.data() + at)) {
      for (std::size_t i = 0; i < wordUnits; ++i) {
        units[made + i] = static_cast<unsigned char>(text[at + i]);
      }
      at += wordUnits;
      made += wordUnits;
      continue;
    }
    const auto next = [&] {
      return static_cast<std::uint32_t>(static_cast<unsigned char>(text[at++]) & 0x3FU);
    };
    const auto lead = static_cast<unsigned char>(text[at++]);
    std::uint32_t character = lead;
    if (lead >= 0xF0U) {
      character = (lead & 0x07U) << 18U;
      character |= next() << 12U;
      character |= next() << 6U;
      character |= next();
    } else if (lead >= 0xE0U) {
      character = (lead & 0x0FU) << 12U;
      character |= next() << 6U;
      character |= next();
    } else if (lead >= 0xC0U) {
      character = (lead & 0x1FU) << 6U;
      character |= next();
    }
    if (character >= 0x10000U) {
      units[made++] = static_cast<char16_t>(0xD7C0U + (character >> 10U));
      units[made++] = static_cast<char16_t>(0xDC00U + (character & 0x3FFU));
    } else {
      units[made++] = static_cast<char16_t>(character);
    }
  }
  units.resize(made);
  return units;
}

std::string toUTF8(std::u16string_view text) {
  std::string bytes(text.size() * 3, '\0');
  std::size_t made = 0;
  const auto put = [&](std::uint32_t byte) { bytes[made++] = static_cast<char>(byte); };
  for (std::size_t at = 0; at < text.size();) {
    if (at + wordUnits <= text.size() && isASCII(text.data() + at)) {
      for (std::size_t i = 0; i < wordUnits; ++i) {
        bytes[made + i] = static_cast<char>(text[at + i]);
      }
      at += wordUnits;
      made += wordUnits;
      continue;
    }
    std::uint32_t character = text[at++];
    if (character >= 0xD800U && character < 0xDC00U) {
      character = 0x10000U + ((character - 0xD800U) << 10U) + (text[at++] - 0xDC00U);
    }
    if (character < 0x80U) {
      put(character);
    } else if (character < 0x800U) {
      put(0xC0U | (character >> 6U));
      put(0x80U | (character & 0x3FU));
    } else if (character < 0x10000U) {
      put(0xE0U | (character >> 12U));
      put(0x80U | ((character >> 6U) & 0x3FU));
      put(0x80U | (character & 0x3FU));
    } else {
      put(0xF0U | (character >> 18U));
      put(0x80U | ((character >> 12U) & 0x3FU));
      put(0x80U | ((character >> 6U) & 0x3FU));
      put(0x80U | (character & 0x3FU));
    }
  }
  bytes.resize(made);
  return bytes;
}

} // namespace inputs
