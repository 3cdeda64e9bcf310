#include "guest/wire/framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/guest/allocations.h"

namespace {

using Wire::CobsFraming;
using Wire::kLongestFrame;
using Wire::kMostKept;
using Wire::LengthFraming;

using Texts = std::vector<std::string>;

template <std::size_t size>
std::string Bytes(const char (&literal)[size]) {
  return {literal, size - 1};
}

// The bytes from the first to the last one.
std::string Range(unsigned first, unsigned last) {
  std::string text(last - first + 1, '\0');
  std::iota(text.begin(), text.end(), static_cast<char>(first));
  return text;
}

// Gives the bytes to the framing and adds the texts that end in them.
void Feed(Wire::Framing& framing, std::string_view bytes, Texts& texts) {
  while (const auto text = framing.Next(bytes)) texts.emplace_back(*text);
  EXPECT_TRUE(bytes.empty() || framing.HasFailed());
  EXPECT_LE(framing.Kept(), kMostKept);
}

template <typename Framing>
Texts Decode(std::string_view bytes, std::size_t step) {
  Framing framing;
  Texts texts;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(step, bytes.size()))) {
    Feed(framing, bytes.substr(0, step), texts);
  }
  EXPECT_FALSE(framing.IsInFrame() || framing.HasFailed());
  return texts;
}

template <typename Framing>
std::string Encode(const Texts& texts) {
  const Framing framing;
  std::string out(framing.Prologue());
  for (const auto& text : texts) framing.Append(out, text);
  return out;
}

// Texts with all that is special to a framing: zeros, whole blocks, and what looks like a code or a length.
Texts SomeTexts() {
  Texts texts{"", "{}", std::string(3, '\0'), std::string(700, '\xff')};
  for (const std::size_t size : {253, 254, 255, 508}) {
    const std::string block(size, 'b');
    texts.insert(texts.end(), {block, block + '\0', block + Bytes("\0x"), '\0' + block});
  }
  std::minstd_rand random(7);
  for (std::size_t size = 1; size < 1500; size = size * 3 / 2 + 1) {
    std::string text(size, '\0');
    for (auto& byte : text) byte = static_cast<char>(random() % 8 < 2 ? 0 : random());
    texts.push_back(text);
  }
  return texts;
}

template <typename Framing>
class FramingTest : public testing::Test {};
using Framings = testing::Types<LengthFraming, CobsFraming>;
TYPED_TEST_SUITE(FramingTest, Framings);

TYPED_TEST(FramingTest, TextsComeOutAsTheyWentInHoweverTheyAreSplit) {
  const Texts texts = SomeTexts();
  const std::string stream = Encode<TypeParam>(texts);
  for (const std::size_t step : {1UL, 2UL, 3UL, 5UL, 254UL, 255UL, 256UL, 4096UL, stream.size()}) {
    ASSERT_EQ(Decode<TypeParam>(stream, step), texts) << step;
  }
}

TYPED_TEST(FramingTest, OfALongTextOnlyTheStartIsKeptAndThatNotForLong) {
  const auto held = [] { return Testing::CountAllocations().bytes; };
  for (const std::size_t size : {kMostKept - 1, kMostKept, kMostKept + 1, kLongestFrame}) {
    for (const char byte : {'\0', '\1', '\xff'}) {
      const auto isCut = [&](std::string_view text) {
        return text.size() == std::min(size, kMostKept) && text.find_first_not_of(byte) == text.npos;
      };
      const std::string stream = Encode<TypeParam>({std::string(size, byte)});
      for (const std::size_t step : {std::size_t(4096), stream.size()}) {
        TypeParam framing;
        const auto before = held();
        std::size_t ends = 0;
        for (std::size_t at = 0; at < stream.size(); at += step) {
          auto bytes = std::string_view(stream).substr(at, step);
          while (const auto text = framing.Next(bytes)) ends += isCut(*text) ? 1 : 100;
          ASSERT_LE(framing.Kept(), kMostKept);
          ASSERT_LE(held() - before, 2 * kMostKept + 4096);
        }
        ASSERT_EQ(ends, 1U) << size << ' ' << step;
        framing.Release();
        ASSERT_LE(held() - before, 4096U) << size << ' ' << step;
      }
    }
  }
}

TYPED_TEST(FramingTest, NothingIsTakenOnceAFrameWasTooLong) {
  const std::string stream = Encode<TypeParam>({"good", std::string(kLongestFrame + 1, 'b'), "late"});
  for (const std::size_t step : {std::size_t(1000), stream.size()}) {
    TypeParam framing;
    Texts texts;
    for (std::size_t at = 0; at < stream.size(); at += step) Feed(framing, stream.substr(at, step), texts);
    EXPECT_TRUE(texts == Texts{"good"}) << step << ": " << texts.size();
    EXPECT_TRUE(framing.HasFailed());
    std::string_view more("\0\0\0\1a", 5);
    EXPECT_FALSE(framing.Next(more));
    EXPECT_EQ(more.size(), 5U);
  }
}

TEST(LengthFramingTest, TheLengthIsBigEndianAndHasALimit) {
  EXPECT_EQ(Encode<LengthFraming>({"ab", std::string(0x10203, 'c')}).substr(0, 11),
            Bytes("\0\0\0\2ab\0\1\2\3c"));
  for (const auto& length : {Bytes("\0\x10\0\1"), Bytes("\xff\xff\xff\xff"), Bytes("\x80\0\0\0")}) {
    LengthFraming framing;
    std::string_view bytes(length);
    EXPECT_FALSE(framing.Next(bytes));
    EXPECT_TRUE(framing.HasFailed());
    EXPECT_EQ(framing.Kept(), 0U);
  }
}

// So bytes of the next frame stay in the socket, where they hold their sender back.
TEST(LengthFramingTest, WhatIsWantedEndsWithTheFrame) {
  const Texts texts = SomeTexts();
  const std::string stream = Encode<LengthFraming>(texts);
  for (const std::size_t most : {std::size_t(3), stream.size()}) {
    LengthFraming framing;
    std::size_t read = 0;
    for (std::string_view left = stream; !left.empty();) {
      ASSERT_GT(framing.Wanted(), 0U);
      ASSERT_LE(framing.Wanted(), left.size());
      auto bytes = left.substr(0, std::min(framing.Wanted(), most));
      left.remove_prefix(bytes.size());
      if (const auto text = framing.Next(bytes)) {
        ASSERT_EQ(*text, texts[read++]);
      }
      ASSERT_TRUE(bytes.empty());
    }
    EXPECT_EQ(read, texts.size());
  }
}

TEST(CobsFramingTest, EncodesAsThePaperDoes) {
  const std::vector<std::pair<std::string, std::string>> known = {
      {Bytes(""), Bytes("\1\0")},
      {Bytes("\0"), Bytes("\1\1\0")},
      {Bytes("\0\0"), Bytes("\1\1\1\0")},
      {Bytes("\0\x11\0"), Bytes("\1\2\x11\1\0")},
      {Bytes("\x11\x22\0\x33"), Bytes("\3\x11\x22\2\x33\0")},
      {Bytes("\x11\0\0\0"), Bytes("\2\x11\1\1\1\0")},
      {Range(1, 254), '\xff' + Range(1, 254) + '\0'},
      {'\0' + Range(1, 254), "\1\xff" + Range(1, 254) + '\0'},
      {Range(1, 255), '\xff' + Range(1, 254) + Bytes("\2\xff\0")},
      {Range(2, 255) + '\0', '\xff' + Range(2, 255) + Bytes("\1\1\0")},
      {Range(3, 255) + Bytes("\0\1"), '\xfe' + Range(3, 255) + Bytes("\2\1\0")},
  };
  for (const auto& [text, encoded] : known) {
    EXPECT_EQ(Encode<CobsFraming>({text}), '\0' + encoded);
    EXPECT_EQ(Decode<CobsFraming>('\0' + encoded, 1), Texts{text});
  }
  // Others end a full block with an empty one.
  EXPECT_EQ(Decode<CobsFraming>(Bytes("\0\xff") + Range(1, 254) + Bytes("\1\0"), 7), Texts{Range(1, 254)});
}

TEST(CobsFramingTest, FindsItsStartAgain) {
  const std::string first = std::string(300, 'b') + Bytes("\0cc\0\0ddd");
  const std::string half = Encode<CobsFraming>({first});
  const std::string next = Encode<CobsFraming>({"second", "third"});
  // The program that wrote the first one ended in its midst.
  for (std::size_t cut = 0; cut < half.size(); ++cut) {
    Texts texts = Decode<CobsFraming>(half.substr(0, cut) + next, 3);
    // What ends with a block can't be told from a shorter text.
    if (texts.size() > 2) {
      EXPECT_TRUE(first.starts_with(texts.front()));
      texts.erase(texts.begin());
    }
    ASSERT_EQ(texts, (Texts{"second", "third"})) << cut;
  }
  const Texts third{"third"};
  const std::string end = Encode<CobsFraming>(third).substr(1);
  EXPECT_EQ(Decode<CobsFraming>(Bytes("\3{}") + next, 2), (Texts{"second", "third"}));
  // Nothing between zeros, codes that lead beyond the frame, and bytes behind the last block.
  for (const auto& noise : {Bytes("\0\0\0\0"), Bytes("\0\2\0"), Bytes("\0\5aaa\0"), Bytes("\0\1\xff\0"),
                            '\0' + std::string(5000, '\xff') + '\0', '\xff' + Range(1, 253) + '\0'}) {
    EXPECT_EQ(Decode<CobsFraming>(noise + end, 1), third);
    EXPECT_EQ(Decode<CobsFraming>(noise + end, 100'000), third);
  }
}

}  // namespace
