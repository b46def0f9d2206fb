// What every test is made of: GoogleTest, texts, and rows of cases.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>
