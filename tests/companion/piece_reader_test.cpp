#include "companion/collect/piece_reader.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {

void PrintTo(const Piece& piece, std::ostream* out) {
  *out << piece.name << " (" << piece.bytes << " bytes, status "
       << (piece.status ? std::to_string(*piece.status) : "none") << ") "
       << testing::PrintToString(piece.text);
}

bool operator==(const Piece& a, const Piece& b) {
  return a.name == b.name && a.text == b.text && a.status == b.status && a.bytes == b.bytes;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kPlenty = 1 << 24;

Piece piece(std::string name, std::string text, std::optional<std::int64_t> status = 0) {
  const std::size_t bytes = text.size();
  return {std::move(name), std::move(text), status, bytes};
}

std::vector<Piece> readInBlocks(std::string_view output, std::size_t blockSize,
                                std::size_t mostBytes = kPlenty, std::size_t mostInAll = kPlenty) {
  PieceReader reader("W0RD", mostBytes, mostInAll);
  for (std::size_t at = 0; at < output.size(); at += blockSize) {
    const ExactBytes block(output.substr(at, blockSize));
    reader.feed(block.view());
  }
  return reader.take();
}

std::vector<Piece> readWhole(std::string_view output) { return readInBlocks(output, kPlenty); }

// --- What a piece is ---

struct OutputRow {
  const char* name;
  std::string output;
  std::vector<Piece> pieces;
};
void PrintTo(const OutputRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.output);
}

class OutputOfAHost : public testing::TestWithParam<OutputRow> {};

TEST_P(OutputOfAHost, isReadAlikeHoweverItIsCut) {
  const OutputRow& row = GetParam();
  for (std::size_t size = 1; size <= row.output.size() + 1; ++size) {
    EXPECT_EQ(readInBlocks(row.output, size), row.pieces) << "in blocks of " << size;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Outputs, OutputOfAHost,
    rows<OutputRow>({
        {"nothing", "", {}},
        {"one", "W0RD begin a\ntext\n\nW0RD end a 0\n", {piece("a", "text\n")}},
        {"noLastLineFeed", "W0RD begin a\ntext\nW0RD end a 0\n", {piece("a", "text")}},
        {"noLineFeedBehindTheEnd",
         "W0RD begin a\ntext\nW0RD end a 0",
         // Nobody knows that the line is whole.
         {{"a", "text\nW0RD end a 0", std::nullopt, 17}}},
        {"lineFeedsAtItsEnd", "W0RD begin a\nx\n\n\n\nW0RD end a 0\n", {piece("a", "x\n\n\n")}},
        {"onlyLineFeeds", "W0RD begin a\n\n\n\nW0RD end a 0\n", {piece("a", "\n\n")}},
        {"empty", "W0RD begin a\n\nW0RD end a 0\n", {piece("a", "")}},
        {"emptyWithoutTheLineFeedOfTheEnd", "W0RD begin a\nW0RD end a 0\n", {piece("a", "")}},
        {"status", "W0RD begin a\n\nW0RD end a 127\n", {piece("a", "", 127)}},
        {"negativeStatus", "W0RD begin a\n\nW0RD end a -1\n", {piece("a", "", -1)}},
        {"two",
         "W0RD begin a\n1\nW0RD end a 0\n\nW0RD begin b\n2\nW0RD end b 1\n",
         {piece("a", "1"), piece("b", "2", 1)}},
        {"twoOfOneName",
         "W0RD begin a\n1\nW0RD end a 0\nW0RD begin a\n2\nW0RD end a 1\n",
         {piece("a", "1"), piece("a", "2", 1)}},
        {"wordsInFront",
         "Welcome!\nW0R\nW0RD\nW0RDW0RD begin a\nW0RD begin a\n1\nW0RD end a 0\n",
         {piece("a", "1")}},
        {"wordsBetweenAndBehind",
         "W0RD begin a\n1\nW0RD end a 0\nhello\nW0RD begin b\n2\nW0RD end b 0\nbye\n",
         {piece("a", "1"), piece("b", "2")}},
        {"cutOffInAPiece", "W0RD begin a\none\ntw", {piece("a", "one\ntw", std::nullopt)}},
        {"cutOffInTheMarker",
         "W0RD begin a\none\nW0RD en",
         {piece("a", "one\nW0RD en", std::nullopt)}},
        {"cutOffBehindTheBeginning", "W0RD begin a\n", {piece("a", "", std::nullopt)}},
        {"beginWithoutAnEnd",
         "W0RD begin a\n1\nW0RD begin b\n2\nW0RD end b 0\n",
         {piece("a", "1\n", std::nullopt), piece("b", "2")}},
        {"endOfAnother",
         "W0RD begin a\n1\nW0RD end b 0\n\nW0RD end a 0\n",
         {piece("a", "1\nW0RD end b 0\n")}},
        {"endOfNone", "W0RD end a 0\nW0RD begin b\n2\nW0RD end b 0\n", {piece("b", "2")}},
        {"statusIsNoNumber",
         "W0RD begin a\n1\nW0RD end a x\nW0RD end a\nW0RD end a 0\n",
         {piece("a", "1\nW0RD end a x\nW0RD end a")}},
        {"beginOfNothing", "W0RD begin\nW0RD begin \n1\n", {}},
        {"lookAlikes",
         "W0RD begin a\n W0RD end a 0\nW0RDend a 0\nw0rd end a 0\nxW0RD end a 0\nW0RD stop a 0\n"
         "\nW0RD end a 0\n",
         {piece("a", " W0RD end a 0\nW0RDend a 0\nw0rd end a 0\nxW0RD end a 0\nW0RD stop a 0\n")}},
        {"anyBytes",
         std::string("W0RD begin a\n\0\xFF\x80\r\x1b\nW0RD end a 0\n", 32),
         {piece("a", std::string("\0\xFF\x80\r\x1b", 5))}},
        {"carriageReturnsOfItsOwn",
         "W0RD begin a\n1\r\n2\r\n\nW0RD end a 0\n",
         {piece("a", "1\r\n2\r\n")}},
        {"throughATerminal",
         "hello\r\nW0RD begin a\r\n1\r\n2\r3\r\n\r\nW0RD end a 0\r\n",
         {piece("a", "1\n2\r3\n")}},
        {"emptyThroughATerminal", "W0RD begin a\r\n\r\nW0RD end a 0\r\n", {piece("a", "")}},
    }),
    rowName);

TEST(PieceReader, readsAMegabyteWithoutALineFeed) {
  const std::string line(1 << 20, 'x');
  const std::string output = "W0RD begin a\n" + line + "\nW0RD end a 0\n";
  for (const int size : {7, 4096, 1 << 21}) {
    EXPECT_TRUE(readInBlocks(output, static_cast<std::size_t>(size)) ==
                std::vector{piece("a", line)})
        << size;
  }
}

TEST(PieceReader, takesNoMarkerForOneThatIsTooLong) {
  const std::string lookAlike = "W0RD end a 0" + std::string(500, ' ');
  EXPECT_THAT(readWhole("W0RD begin a\n" + lookAlike + "\n\nW0RD end a 0\n"),
              ElementsAre(piece("a", lookAlike + "\n")));
}

TEST(PieceReader, readsWhatAScriptCouldPrintWhateverItIs) {
  std::mt19937 random(20261115);
  constexpr std::string_view kParts[] = {"W0RD", " end ", "a", " 0", "\n", "\r\n", "begin", "xy"};
  for (int round = 0; round < 200; ++round) {
    std::string text;
    for (auto parts = random() % 12; parts > 0; --parts) text += kParts[random() % 8];
    if (text.find("W0RD begin") != std::string::npos) continue;
    if (text.find("W0RD end a 0") != std::string::npos) continue;
    const std::string output = "W0RD begin a\n" + text + "\nW0RD end a 0\n";
    EXPECT_THAT(readInBlocks(output, 1 + random() % 9), ElementsAre(piece("a", text)));
  }
}

// --- How much is kept ---

struct LimitRow {
  const char* name;
  std::size_t mostBytes;
  std::size_t mostInAll;
  std::vector<std::string> texts;
  std::vector<std::size_t> bytes;
};
void PrintTo(const LimitRow& row, std::ostream* out) { *out << row.name; }

class Limits : public testing::TestWithParam<LimitRow> {};

TEST_P(Limits, cutTexts) {
  const LimitRow& row = GetParam();
  const std::string_view output =
      "W0RD begin a\n12345\nW0RD end a 0\nW0RD begin b\n678\nW0RD end b 0\nW0RD begin c\n9\n"
      "W0RD end c 0\n";
  for (const std::size_t size : {std::size_t{1}, std::size_t{5}, kPlenty}) {
    const std::vector<Piece> pieces = readInBlocks(output, size, row.mostBytes, row.mostInAll);
    std::vector<std::string> texts;
    std::vector<std::size_t> bytes;
    for (const Piece& each : pieces) {
      texts.push_back(each.text);
      bytes.push_back(each.bytes);
      EXPECT_EQ(each.status, 0);
    }
    EXPECT_EQ(texts, row.texts);
    EXPECT_EQ(bytes, row.bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Limits, Limits,
    rows<LimitRow>({
        {"roomForAll", 6, 100, {"12345", "678", "9"}, {5, 3, 1}},
        {"justTheLineFeedOfTheEndIsCut", 5, 100, {"12345", "678", "9"}, {5, 3, 1}},
        {"ofOnePiece", 4, 100, {"1234", "678", "9"}, {5, 3, 1}},
        {"nothingOfAPiece", 0, 100, {"", "", ""}, {5, 3, 1}},
        {"ofAllTogether", 100, 8, {"12345", "67", ""}, {5, 3, 1}},
        {"nothingAtAll", 100, 0, {"", "", ""}, {5, 3, 1}},
    }),
    rowName);

TEST(PieceReader, forgetsWhatStandsOutsideOfPieces) {
  PieceReader reader("W0RD", 10, 10);
  const std::string noise(1 << 16, 'n');
  for (int i = 0; i < 100; ++i) reader.feed(noise);
  reader.feed("\nW0RD begin a\n0123456789\nW0RD end a 0\n");
  EXPECT_THAT(reader.take(), ElementsAre(piece("a", "0123456789")));
}

TEST(PieceReader, hasNothingOfAWordThatIsNotIts) {
  EXPECT_THAT(readWhole("WORD begin a\n1\nWORD end a 0\n"), IsEmpty());
}

TEST(WordsOutside, areAllThatStandsInNoPieceHoweverItIsCut) {
  const std::string output = "hello\nW0RD begin a\nin\nW0RD end a 0\nW0RD x\nbye";
  for (std::size_t size = 1; size <= output.size(); ++size) {
    PieceReader reader("W0RD", kPlenty, kPlenty);
    for (std::size_t at = 0; at < output.size(); at += size) reader.feed(output.substr(at, size));
    reader.take();
    EXPECT_EQ(reader.wordsOutside(), "hello\nW0RD x\nbye") << "in blocks of " << size;
  }
}

TEST(WordsOutside, areNoneOfAFlood) {
  PieceReader reader("W0RD", kPlenty, kPlenty);
  reader.feed(std::string(2000, 'x'));
  EXPECT_EQ(reader.wordsOutside().size(), 2000U);
  reader.feed("x");
  reader.feed("x");
  EXPECT_EQ(reader.wordsOutside(), "");
}

}  // namespace
}  // namespace tavrine
