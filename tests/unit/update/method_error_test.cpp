#include "update/method_error.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <new>

namespace
{

constexpr auto invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr auto failed = "org.freedesktop.DBus.Error.Failed";

/** The error that a method whose body ends with `thrown` answers with. */
template <typename Exception>
MethodError answerTo(const Exception& thrown)
{
    try
    {
        answering([&]() -> int { throw thrown; });
    }
    catch (const MethodError& error)
    {
        return error;
    }
    throw std::logic_error("no error reply");
}

template <typename Exception>
void expectAnswer(const Exception& thrown, const char* name, int number)
{
    const auto error = answerTo(thrown);
    EXPECT_STREQ(error.name(), name);
    EXPECT_STREQ(error.description(), thrown.what());
    EXPECT_STREQ(error.what(), thrown.what());
    EXPECT_EQ(error.get_errno(), number);
}

TEST(MethodError, AMethodThatReturnsAnswersWithItsValue)
{
    EXPECT_EQ(answering([] { return 7; }), 7);
}

TEST(MethodError, AnInvalidNumberIsAnInvalidArgument)
{
    expectAnswer(std::invalid_argument("stoi"), invalidArguments, EINVAL);
}

TEST(MethodError, ANumberOutOfRangeIsAnInvalidArgument)
{
    expectAnswer(std::out_of_range("stoi"), invalidArguments, EINVAL);
}

TEST(MethodError, AWrongAlternativeIsAnInvalidArgument)
{
    expectAnswer(std::bad_variant_access(), invalidArguments, EINVAL);
}

TEST(MethodError, AWrongAlternativeKeepsTheLibrarysWords)
{
    const std::variant<std::string, std::uint16_t> value = std::uint16_t{1};
    try
    {
        answering([&] { return std::get<std::string>(value); });
        FAIL() << "no error reply";
    }
    catch (const MethodError& error)
    {
        EXPECT_STREQ(error.name(), invalidArguments);
        EXPECT_STREQ(error.description(), "std::get: wrong index for variant");
    }
}

TEST(MethodError, AnErrorOfTheFileSystemIsAFailure)
{
    expectAnswer(std::filesystem::filesystem_error(
                     "cannot list", std::make_error_code(std::errc::permission_denied)),
                 failed, EIO);
}

TEST(MethodError, AnyOtherStandardErrorIsAFailure)
{
    expectAnswer(std::bad_alloc(), failed, EIO);
}

TEST(MethodError, AReplysWordsAreUtf8)
{
    const auto error = answerTo(std::runtime_error("no folder \xC3\xA4\xFF here"));
    EXPECT_STREQ(error.description(), "no folder \xC3\xA4? here");
    EXPECT_STREQ(error.what(), "no folder \xC3\xA4? here");
}

TEST(MethodError, AnythingElseIsAFailureWithoutWords)
{
    try
    {
        answering([]() -> int { throw 7; }); // NOLINT: anything may be thrown
        FAIL() << "no error reply";
    }
    catch (const MethodError& error)
    {
        EXPECT_STREQ(error.name(), failed);
        EXPECT_STREQ(error.description(), "unknown exception");
    }
}

TEST(MethodError, AnErrorReplyIsPassedOnAsItIs)
{
    const auto error = answerTo(MethodError(invalidArguments, "own words"));
    EXPECT_STREQ(error.name(), invalidArguments);
    EXPECT_STREQ(error.description(), "own words");
}

} // namespace
