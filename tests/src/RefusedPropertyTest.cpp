// The tokenizer: a property refused behind a parameter value does not stop the reading. The line
// continues as that value, and the next ":" evaluates it again.

#include "tests/src/TokenizerFixture.h"

namespace test {
namespace {

class RefusedPropertyTest : public TokenizerTest {};

TEST_F(RefusedPropertyTest, IsEvaluatedAgainAtTheNextColon) {
  RefuseFirst(1);
  Feed("N;A=b:c:d");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("d");
}

TEST_F(RefusedPropertyTest, SucceedsWithoutData) {
  Refuse(HandlerCall::Kind::Property);
  Feed("N;A=b:Doe");
  ExpectProperty("N", {With("A", "b")});
}

TEST_F(RefusedPropertyTest, ContinuesAcrossALineEnd) {
  Refuse(HandlerCall::Kind::Property);
  Feed("N;A=b:Doe\nTEL:1\nORG:x\n");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
}

TEST_F(RefusedPropertyTest, MayBeRefusedManyTimes) {
  RefuseFirst(1000);
  Feed("N;A=b" + std::string(1001, ':') + "x");
  for (int i = 0; i < 1001; ++i) ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
}

TEST_F(RefusedPropertyTest, HasItsGroupAsNameInTheNextEvaluation) {
  RefuseFirst(2);
  Feed("A.N;B=c:d:e");
  ExpectGroup("A");
  ExpectProperty("A", {With("B", "c")});
}

TEST_F(RefusedPropertyTest, HasItsGroupAsNameAfterARefusal) {
  parser.answer = [](const HandlerCall& call) { return call.text != "N"; };
  Feed("A.N;B=c:d:e");
  ExpectGroup("A");
  ExpectProperty("N", {With("B", "c")});
  ExpectProperty("A", {With("B", "c")});
  ExpectWholeData("e");
}

TEST_F(RefusedPropertyTest, HasOneGroupOnly) {
  parser.answer = [](const HandlerCall& call) { return call.kind != HandlerCall::Kind::Property; };
  Feed("A.B.C;D=e:f.g:h.i:");
  ExpectGroup("A");
  ExpectProperty("B.C", {With("D", "e")});
  ExpectProperty("A", {With("D", "e")});
  ExpectProperty("A", {With("D", "e")});
}

TEST_F(RefusedPropertyTest, DoesNotListNewParameters) {
  RefuseFirst(1);
  Feed("N;A=b:c;D=e;F=g:h");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("h");
}

TEST_F(RefusedPropertyTest, TakesTheEncodingFromNewParameters) {
  RefuseFirst(1);
  Feed("N;A=b:;BASE64;C=d:QUJD");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("ABC");
}

TEST_F(RefusedPropertyTest, KeepsTheEncodingOfTheFirstEvaluation) {
  RefuseFirst(1);
  Feed("N;BASE64;A=b:c:QUJD");
  ExpectProperty("N", {Bare("BASE64"), With("A", "b")});
  ExpectProperty("N", {Bare("BASE64"), With("A", "b")});
  ExpectWholeData("ABC");
}

TEST_F(RefusedPropertyTest, OverridesTheEncodingByALaterOne) {
  RefuseFirst(1);
  Feed("N;BASE64;A=b:;8BIT;C=d:QUJD");
  ExpectProperty("N", {Bare("BASE64"), With("A", "b")});
  ExpectProperty("N", {Bare("BASE64"), With("A", "b")});
  ExpectWholeData("QUJD");
}

TEST_F(RefusedPropertyTest, ListsNewParametersAfterARefusedGroup) {
  Refuse(HandlerCall::Kind::Group);
  Feed("A.N;B=c:d;E=f:QUJD");
  ExpectGroup("A");
  ExpectProperty("A", {With("B", "c"), With("E", "f")});
  ExpectWholeData("QUJD");
}

TEST_F(RefusedPropertyTest, ListsItsOwnParametersAfterARefusedGroup) {
  Refuse(HandlerCall::Kind::Group);
  Feed("M;X=y:z\nA.N;B=c:d:e");
  ExpectProperty("M", {With("X", "y")});
  ExpectWholeData("z");
  ExpectGroup("A");
  ExpectProperty("A", {With("B", "c")});
  ExpectWholeData("e");
}

TEST_F(RefusedPropertyTest, KeepsTheListWhenTheLineMoves) {
  RefuseFirst(3);
  const std::string filling(100000, 'x');
  Feed("N;A=b;C;D=e:" + filling + ":" + filling + ";F=" + filling + ":" + filling + ":y");
  for (int i = 0; i < 4; ++i) {
    ExpectProperty("N", {With("A", "b"), Bare("C"), With("D", "e")});
  }
  ExpectWholeData("y");
}

TEST_F(RefusedPropertyTest, KeepsTheListWhereverTheLineGrows) {
  for (std::size_t length = 1; length < 300; ++length) {
    RecordingParser reader;
    int left = 2;
    reader.answer = [&left](const HandlerCall&) { return left-- <= 0; };
    const std::string value(length, 'v');
    EXPECT_EQ(reader.parse("N;A=" + value + "::" + value + ":x"), 1);
    ASSERT_EQ(reader.calls.size(), 5U);
    const HandlerCall property{HandlerCall::Kind::Property, "N", {With("A", value)}};
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(reader.calls[i], property);
    EXPECT_EQ(reader.calls[3].text, "x");
  }
}

TEST_F(RefusedPropertyTest, FailsOnAColonInPlaceOfANewParameter) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N;A=b:c;:d");
  ExpectProperty("N", {With("A", "b")});
}

TEST_F(RefusedPropertyTest, StopsWhenRefusedInANewParameterName) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N;A=b:c;D:e\nM:f");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
}

TEST_F(RefusedPropertyTest, LeavesNothingToTheNextProperty) {
  RefuseFirst(1);
  Feed("A.N;B=c:d:e\nM;F=g:h\n");
  ExpectGroup("A");
  ExpectProperty("A", {With("B", "c")});
  ExpectWholeData("e");
  ExpectProperty("M", {With("F", "g")});
  ExpectWholeData("h");
}

TEST_F(RefusedPropertyTest, KeepsABackslashAcrossTheEvaluation) {
  RefuseFirst(1);
  Feed("N;A=b\\:;C=d:e");
  ExpectProperty("N", {With("A", "b")});
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("e");
}

}  // namespace
}  // namespace test
