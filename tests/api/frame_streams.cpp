// Streams: when text is handed on, where it is mirrored, files and their reports, echoed codes.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "support/api_box.h"
#include "support/file_text.h"

namespace {

struct piece_list {
  std::vector<std::string> pieces;
  static void keep(void* self, const char* text) {
    static_cast<piece_list*>(self)->pieces.emplace_back(text);
  }
};

}  // namespace

TEST(FrameStreams, HandOnByLinesAndPieces) {
  api_box box;
  piece_list msg;
  ASSERT_EQ(ZLV_linkfunctotaskstream(box.task, ZLV_STREAM_MSG, &msg, &piece_list::keep), 0);
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "%s", "short");
  EXPECT_TRUE(msg.pieces.empty());
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "%s", " line\nnext\n");
  EXPECT_EQ(msg.pieces, (std::vector<std::string>{"short line\n", "next\n"}));
  msg.pieces.clear();
  const std::string wide(2500, 'x');
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "%s", wide.c_str());
  ASSERT_EQ(msg.pieces.size(), 2U);
  EXPECT_EQ(msg.pieces[0].size(), 1024U);
  EXPECT_EQ(msg.pieces[1].size(), 1024U);
  ZLV_unlinkfuncfromtaskstream(box.task, ZLV_STREAM_MSG);  // flushes
  ASSERT_EQ(msg.pieces.size(), 3U);
  EXPECT_EQ(msg.pieces[2].size(), 452U);
  EXPECT_EQ(box.log().size(), 5U + 11U + 2048U);  // the rest waits for its newline
}

TEST(FrameStreams, EchoIsCutAfter4048Characters) {
  api_box box;
  ZLV_echotask(box.task, ZLV_STREAM_LOG, "%s", std::string(5000, 'y').c_str());
  ZLV_unlinkfuncfromtaskstream(box.task, ZLV_STREAM_LOG);
  EXPECT_EQ(box.log(), std::string(4048, 'y'));
}

TEST(FrameStreams, BadStreamNumbersWriteNothing) {
  api_box box;
  for (const int32_t s : {-1, 4}) {
    box.forget();
    EXPECT_EQ(ZLV_echotask(box.task, s, "text\n"), ZLV_RES_ERR_INVALID_STREAM);
    EXPECT_EQ(box.log().find("text"), std::string::npos);
    EXPECT_NE(box.err().find(std::to_string(s) + " is an invalid stream.\n"), std::string::npos);
    EXPECT_EQ(ZLV_echoenv(box.env, s, "text\n"), ZLV_RES_ERR_INVALID_STREAM);
    EXPECT_EQ(ZLV_linkfiletotaskstream(box.task, s, "x", 0), ZLV_RES_ERR_INVALID_STREAM);
    EXPECT_EQ(ZLV_linkfunctoenvstream(box.env, s, nullptr, nullptr), ZLV_RES_ERR_INVALID_STREAM);
  }
}

TEST(FrameStreams, WarningsEndAtTheLimitErrorsDoNot) {
  api_box box;
  for (int k = 0; k < 102; ++k) {
    EXPECT_EQ(ZLV_echocodetask(box.task, ZLV_RES_WRN_ZERO_AIJ, k), ZLV_RES_WRN_ZERO_AIJ);
  }
  EXPECT_NE(box.wrn().find("ZALVO Warning 63     - 99 zero element(s) in A are specified.\n"),
            std::string::npos);
  EXPECT_EQ(box.wrn().find(" 100 zero"), std::string::npos);
  EXPECT_EQ(box.wrn(), box.log());
  box.forget();
  EXPECT_EQ(ZLV_echocodetask(box.task, ZLV_RES_OK), ZLV_RES_OK);
  EXPECT_EQ(box.log(), "");
  EXPECT_EQ(ZLV_echocodetask(box.task, 999999), 999999);
  EXPECT_EQ(box.err(), "ZALVO Error 999999 - No message for this code.\n");
  EXPECT_EQ(ZLV_echocodetask(box.task, 1000), 1000);  // no error by the rule of the ranges' border
  EXPECT_EQ(box.err(), "ZALVO Error 999999 - No message for this code.\n");
}

TEST(FrameStreams, FilesAreRewrittenOrContinued) {
  const std::string name = testing::TempDir() + "frame_streams.log";
  api_box box;
  ASSERT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_MSG, name.c_str(), 0), 0);
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "one\n");
  // Linking the same file again loses nothing that was written.
  ASSERT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_MSG, name.c_str(), 1), 0);
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "two\n");
  const std::string nowhere = testing::TempDir() + "no/such/folder/x.log";
  EXPECT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_MSG, nowhere.c_str(), 0),
            ZLV_RES_ERR_FILE_OPEN);
  EXPECT_NE(box.err().find(nowhere), std::string::npos);
  ZLV_echotask(box.task, ZLV_STREAM_MSG, "three");
  ASSERT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_MSG, nullptr, 0), 0);
  const std::string opened = "\nFile opened: " + name + "\n",
                    closed = "\nFile closed: " + name + "\n",
                    reopened = "\nFile reopened: " + name + "\n";
  const std::string all = opened + "one\n" + closed + reopened + "two\nthree" + closed;
  EXPECT_EQ(file_text(name), all);
  EXPECT_EQ(box.msg(), all);
  ASSERT_EQ(ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_MSG, name.c_str(), 0), 0);
  EXPECT_EQ(box.close(), 0);
  EXPECT_EQ(file_text(name), opened + closed);
  std::remove(name.c_str());
}

TEST(FrameStreams, FullDeviceIsNotFatal) {
  api_box box;
  if (ZLV_linkfiletotaskstream(box.task, ZLV_STREAM_LOG, "/dev/full", 0) != 0) GTEST_SKIP();
  for (int k = 0; k < 100; ++k) {
    EXPECT_EQ(ZLV_echotask(box.task, ZLV_STREAM_LOG, "%s\n", std::string(1000, 'z').c_str()), 0);
  }
  EXPECT_EQ(box.close(), 0);
}
