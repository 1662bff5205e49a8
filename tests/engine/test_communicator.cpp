// The two message queues between the console and the engine.
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
