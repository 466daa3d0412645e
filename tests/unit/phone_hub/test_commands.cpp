// Every message code, word by word: floats and integers are told apart by their bits.
#include <OemTestMsg.h>

#include <cmath>

#include "hub_fixture.h"

namespace phone {
namespace {

struct Exchange {
  int32_t type;
  int32_t code;
  std::vector<int32_t> request;
  std::vector<int32_t> reply;
};

constexpr int kAcc2 = 268369921;
constexpr int kGyr2 = 268369924;
constexpr int kSar = 33171015;
constexpr int kSar2 = 33171016;
constexpr int kTof = 33171040;
constexpr int kCctF = 33171089;

const int32_t kOne = F(1);
const int32_t kTen = F(10);

FakeRaw known_raw() {
  FakeRaw raw;
  raw.values = {
      {{5, 0}, 180.5F},    {{8, 0}, 4660.75F},  {{kSar, 0}, 11},        {{kSar, 1}, 12},
      {{kSar, 7}, 18},     {{kTof, 0}, 131.5F}, {{33171007, 2}, 50},    {{33171055, 0}, 90.25F},
      {{33171085, 3}, 16}, {{33171007, 0}, 8},  {{33171080, 0}, 77.5F},
  };
  return raw;
}

// Each row is a conversation with a fresh hub.
struct Conversation {
  const char* subject;
  std::vector<Exchange> exchanges;
};

const Conversation kConversations[] = {
    {"accelerometers keep one offset each",
     {{1, 1, {}, {0, 0, 0}},
      {1, 0, {F(0.5F), F(-2), F(3)}, {0}},
      {kAcc2, 0, {F(7), F(8), F(9)}, {0}},
      {1, 1, {}, {F(0.5F), F(-2), F(3)}},
      {kAcc2, 1, {}, {F(7), F(8), F(9)}}}},
    {"gyroscope types 4 and 16 share an offset",
     {{4, 2, {F(0.01F), F(0.02F), F(0.03F)}, {0}},
      {16, 3, {}, {F(0.01F), F(0.02F), F(0.03F)}},
      {kGyr2, 3, {}, {0, 0, 0}},
      {4, 33, {}, {0}},
      {4, 3, {}, {F(0.01F), F(0.02F), F(0.03F)}}}},
    {"type 0 collects and takes panel samples",
     {{0, 0, {kOne, F(-10)}, {F(180.5F)}},
      {0, 0, {kOne, F(-11), F(8)}, {F(0)}},
      {0, 0, {kOne, F(-11), F(11)}, {F(0)}},
      {0, 0, {kOne, F(-11), F(12)}, {F(-1)}},
      {0, 0, {kOne, F(-12)}, {-1}}}},
    {"a version request that matched nothing", {{5, 0, {kOne, F(-1)}, {-1, 0, 0}}, {4, 0, {kOne, F(13)}, {-1, 0, 0}}}},
    {"SAR, plain and counted",
     {{kSar, 4, {}, {0, 0, 0}},
      {kSar, 11, {}, {0}},
      {kSar, 4, {}, {F(11), F(12), 0}},
      {kSar, 4, {F(9)}, {0, F(11), F(12), 0, 0, 0, 0, 0, F(18), 0}},
      {kSar, 4, {F(16)}, {-1}},
      {kSar, 4, {F(-1)}, {-1}},
      {kSar2, 4, {F(2)}, {0, 0, 0}},
      {kSar2, 11, {F(-1)}, {0}},
      {kSar2, 4, {}, {0, 0, 0}},
      {kSar, 11, {F(2)}, {-1}}}},
    {"SAR registers answer in word 1", {{kSar, 43, {16, -5}, {0, 0}}, {kSar2, 44, {1, 2}, {0, 0}}}},
    {"proximity thresholds are integers; -1 leaves one or is not asked for",
     {{8, 6, {0, -1, -1}, {300, 0, 0}},
      {8, 6, {-1, 0, -1}, {0, 400, 0}},
      {8, 5, {600, 420, 101}, {0}},
      {8, 5, {-1, 430, -1}, {0}},
      {8, 6, {}, {600, 430, 101}},
      {8, 6, {-1, -1, 0}, {0, 0, 101}},
      {33171005, 5, {1, 2, 3}, {-1}}}},
    {"hardware crosstalk answers as an integer", {{8, 7, {}, {4660, 0}}, {5, 7, {}, {-1}}}},
    {"self-test",
     {{1, 8, {}, {0}}, {33171005, 8, {}, {0}}, {kSar2, 8, {}, {0}}, {15, 8, {}, {-1}}, {33171041, 8, {}, {-1}}}},
    {"lux scale, one for twins",
     {{33171085, 9, {F(1.25F)}, {0}},
      {33171055, 10, {}, {F(1.25F)}},
      {5, 10, {}, {kOne}},
      {5, 9, {F(2)}, {0}},
      {33171007, 10, {}, {F(2)}},
      {33171081, 9, {F(3)}, {0}},
      {33171082, 10, {}, {F(3)}},
      {33171080, 9, {F(4)}, {0}},
      {33171084, 10, {}, {F(4)}},
      {33171054, 10, {}, {kOne}},
      {kCctF, 9, {F(5)}, {-1}}}},
    {"time of flight goes in order",
     {{8, 13, {}, {-1}},
      {8, 12, {}, {0}},
      {kTof, 14, {}, {-1}},
      {kTof, 6, {-1, -1, 0}, {0, 0, 0}},
      {kTof, 13, {}, {0}},
      {kTof, 6, {-1, -1, 0}, {0, 0, 31}},
      {8, 14, {}, {0}},
      {8, 12, {}, {0}},
      {8, 14, {}, {-1}}}},
    {"high-lux steps answer in word 1",
     {{5, 15, {12}, {0, 0}},
      {5, 15, {15}, {0, 0}},
      {5, 15, {18}, {0, 0}},
      {5, 15, {19}, {0, -1}},
      {5, 15, {14}, {0, -1}}}},
    {"pressure", {{6, 22, {}, {0}}, {6, 21, {F(-1.5F)}, {0}}, {6, 22, {}, {F(-1.5F)}}}},
    {"a channel's scale is target over raw",
     {{5, 23, {F(2), F(75)}, {0, 0, F(0)}},
      {33171007, 31, {F(4)}, {0, kOne, kOne, F(1.5F), kOne}},
      {33171055, 23, {F(3), F(4)}, {0, 0, F(0)}},
      {33171055, 23, {F(4), F(4)}, {0, 0, F(-1)}},
      {33171055, 23, {F(8), F(4)}, {0, 0, F(-1)}},
      {33171055, 31, {F(5)}, {0, kOne, kOne, kOne, F(0.25F), kOne}}}},
    {"versions",
     {{5, 24, {kOne, F(-1)}, {0, 0, 0}},
      {5, 9, {F(2)}, {0}},
      {5, 24, {kOne, F(-1)}, {0, 0, kOne}},
      {5, 32, {kOne, F(13)}, {0, 0, 0}},
      {5, 26, {13, 4095, 20}, {0, 0}},
      {5, 32, {kOne, F(13)}, {0, 0, kOne}},
      {5, 25, {kOne, F(14)}, {0, 0, 0}},
      {33171081, 25, {kOne, F(-1)}, {0, 0, 0}},
      {33171081, 32, {kOne, F(-1)}, {-1}},
      {1, 24, {kOne, F(-1)}, {0, 0, 0}},
      {99, 24, {kOne, F(-1)}, {-1}}}},
    {"backlight levels: integers for lux, floats for colour",
     {{5, 26, {13, 4095, 20}, {0, 0}},
      {5, 26, {12, 4095, 20}, {0, -1}},
      {5, 26, {F(13), 4095, 20}, {0, -1}},
      {5, 27, {F(14), F(3072), kOne, kOne, kOne, kOne}, {0}},
      {5, 27, {13, F(3072)}, {-1}}}},
    {"golden channels",
     {{kCctF, 29, {F(5)}, {-1}},
      {kCctF, 28, {F(0)}, {0}},
      {kCctF, 29, {F(5)}, {-1}},
      {kCctF, 28, {F(2), F(100), F(200)}, {0}},
      {33171088, 29, {F(11)}, {0, F(100), F(200)}},
      {kCctF, 28, {F(9), kOne}, {-1}},
      {kCctF, 29, {F(NAN)}, {0}},
      {kCctF, 29, {F(-1)}, {-1}}}},
    {"channel scales: n is a float, the result an integer",
     {{kCctF, 30, {F(2), F(0.5F), F(2)}, {0}},
      {kCctF, 31, {kTen}, {0, F(0.5F), F(2), kOne, kOne, kOne, kOne, kOne, kOne, kOne, kOne}},
      {33171057, 31, {kOne}, {0, kOne}},
      {kCctF, 30, {F(16)}, {-1}},
      {kCctF, 31, {F(1e9F)}, {-1}}}},
    {"screen channels", {{5, 200, {F(7), F(3)}, {0, 0, F(0)}}, {5, 200, {F(8), F(3)}, {0, 0, F(-1)}}}},
    {"a hub that leaves colour runs to the library", {{kCctF, 39, {kOne}, {-1}}, {kCctF, 40, {kOne, F(92)}, {-1}}}},
    {"unknown codes", {{1, 16, {kOne}, {-1}}, {1, -1, {kOne}, {-1}}, {1, 201, {}, {-1}}}},
};

TEST(HubCommands, RepliesWordByWord) {
  for (const Conversation& conversation : kConversations) {
    SCOPED_TRACE(conversation.subject);
    FakeRaw raw = known_raw();
    Hub hub(&raw, {});
    int number = 0;
    for (const Exchange& exchange : conversation.exchanges) {
      SCOPED_TRACE("exchange " + std::to_string(number++));
      const HubRecord reply = hub.handle(record(exchange.type, exchange.code, exchange.request), nullptr);
      EXPECT_EQ(reply.sensor_type, exchange.type);
      EXPECT_EQ(reply.msg_type, exchange.code);
      EXPECT_EQ(reply.words, record(0, 0, exchange.reply).words);
    }
  }
}

// Codes that change something, with a type they do not serve and words that would be seen if stored.
TEST_F(HubTest, AnUnknownTypeIsRefusedOrAnsweredWithTheDefaults) {
  hub.on_change([] {
    ADD_FAILURE() << "something changed";
    return true;
  });
  for (const int32_t code :
       {2, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 21, 23, 24, 25, 26, 27, 28, 29, 30, 32, 33, 43, 44, 200}) {
    SCOPED_TRACE(code);
    EXPECT_EQ(ask(33171041, code, {F(5), F(6), F(7)}).words, record(0, 0, {-1}).words);
  }
  for (const int32_t code : {1, 3, 22, 38}) {
    SCOPED_TRACE(code);
    EXPECT_EQ(ask(33171041, code).words, record(0, 0).words);
  }
  EXPECT_EQ(ask(33171041, 10).words, record(0, 0, {kOne}).words);
  EXPECT_EQ(ask(33171041, 31, {F(2)}).words, record(0, 0, {0, kOne, kOne}).words);
}

// Code 1 is not code 3: neither may show the other's offsets.
TEST_F(HubTest, OffsetsOfTheOtherKindDoNotShow) {
  ask(4, 2, {kOne, kOne, kOne});
  ask(1, 0, {kOne, kOne, kOne});
  EXPECT_EQ(ask(4, 1).words, record(0, 0).words);
  EXPECT_EQ(ask(1, 3).words, record(0, 0).words);
}

TEST_F(HubTest, DarkValuesAreMeasuredInTheDarkBoxAndKept) {
  raw.values = {{{33171007, 0}, 0.25F}};
  EXPECT_EQ(ask(5, 38, {F(1)}).as_float(0), 0);
  raw.dark = true;
  EXPECT_EQ(ask(5, 38, {F(1)}).as_float(0), 0.25F);
  EXPECT_GT(ask(5, 38, {F(6)}).as_float(0), 0) << "0 would read as missing";
  EXPECT_EQ(ask(5, 38, {F(7)}).as_float(0), 0);
  EXPECT_EQ(ask(5, 38, {F(0)}).as_float(0), 0);
  raw.dark = false;
  raw.values = {{{33171007, 0}, 99}};
  EXPECT_EQ(ask(5, 38, {F(1)}).as_float(0), 0.25F);
  EXPECT_EQ(ask(5, 38, {F(2)}).as_float(0), 0) << "never asked for in the dark";
}

TEST(HubCommandsSplitting, CrosstalkComesAsTwoBytes) {
  FakeRaw raw = known_raw();
  Hub hub(&raw, {.splits_crosstalk = true});
  EXPECT_EQ(hub.handle(record(8, 7), nullptr).words, record(0, 0, {0x34, 0x12}).words);
  EXPECT_EQ(hub.proximity().hardware_crosstalk, 4660.75F);
}

TEST_F(HubTest, UnusedWordsAreRemarkedAndNothingElse) {
  struct {
    HubRecord request;
    const char* remark;
  } const cases[] = {
      {record(1, 0, {1, 2, 3}), ""},
      {record(1, 0, {1, 2, 3, 4}), "unused word 3 is 0x00000004"},
      {record(6, 22, {F(1)}), "unused word 0 is 0x3f800000"},
      {record(kCctF, 30, {F(2), 7, 7}), ""},
      {record(kCctF, 30, {F(2), 7, 7, 7}), "unused word 3 is 0x00000007"},
      {record(kCctF, 31, {F(2), 7}), "unused word 1 is 0x00000007"},
      {record(99, 9, {F(2)}), "set lux scale: unknown type 99"},
      {record(1, 77), "unknown code 77"},
      {record(kTof, 14), "a time-of-flight step before the one it builds on"},
  };
  for (const auto& row : cases) {
    std::string note = "left over";
    hub.handle(row.request, &note);
    EXPECT_EQ(note, row.remark);
  }
}

// The library's table and the hub's are written apart from each other, from one page.
TEST(HubCommands, ServeEveryCodeOfTheLibraryWithTheWordsThatItFills) {
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes) {
    const Command* command = find_command(row.code);
    ASSERT_NE(command, nullptr) << "the hub does not know " << row.name;
    const std::string letters = row.request_words;
    const bool counted = letters.find('*') != std::string::npos;
    EXPECT_EQ(command->counted, counted) << row.name;
    const size_t fixed = counted ? 1 : letters.size();
    EXPECT_EQ(command->words, (1U << fixed) - 1) << row.name;
  }
}

TEST(SaturatedInt, TakesEveryFloat) {
  EXPECT_EQ(saturated_int(-2.9F), -2);
  EXPECT_EQ(saturated_int(NAN), 0);
  EXPECT_EQ(saturated_int(INFINITY), INT32_MAX);
  EXPECT_EQ(saturated_int(2147483648.0F), INT32_MAX);
  EXPECT_EQ(saturated_int(-1e20F), INT32_MIN);
}

}  // namespace
}  // namespace phone
