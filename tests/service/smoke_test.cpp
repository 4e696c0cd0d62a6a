#include <gtest/gtest.h>

#include "service/messages.h"

TEST(Smoke, PrintLinks) { vex_serv_print(0, 0, 0); }
