#pragma once

#include <gtest/gtest.h>

#include <string>

/** Names the tests of a table by the cases' own names. */
struct CaseName
{
    template <typename Case>
    std::string operator()(const testing::TestParamInfo<Case>& test) const
    {
        return test.param.name;
    }
};
