// The two message queues and their log.
#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "engine/communicator.h"

TEST(Communicator, QueuesKeepOrderAndSignalEmptiness) {
    Communicator c;
    EXPECT_EQ(c.from_interface(), "");
    c.to_engine("uci");
    c.to_engine("isready");
    c.to_interface("readyok");
    EXPECT_EQ(c.from_interface(), "uci");
    EXPECT_EQ(c.from_engine(), "readyok");
    EXPECT_EQ(c.from_engine(), "");
    c.to_interface("bestmove e2e4");
    c.clear();
    EXPECT_EQ(c.from_interface(), "");
    EXPECT_EQ(c.from_engine(), "");
}

TEST(Communicator, LogPadsTheLabelToThirtyCharacters) {
    Communicator c;
    c.set_id(511);
    c.set_log(true);
    c.to_engine("go depth 3");
    c.from_interface();
    c.from_interface(); // an empty result is not logged
    c.set_log(false);
    c.to_engine("not logged");
    std::ifstream in("comm_511.log");
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "Communicator::to_engine       go depth 3\nCommunicator::from_interface  go depth 3\n");
    std::remove("comm_511.log");
}
