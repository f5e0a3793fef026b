#include "board/json.hpp"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace sim
{

namespace
{

/** Reads a text from front to back. Its commas are trusted to stand where they belong. */
class Reader
{
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    Json next()
    {
        switch (front())
        {
        case '{':
            return object();
        case '[':
            return list();
        case '"':
            return string();
        case 'n':
            return word("null", {});
        case 't':
            return word("true", true);
        case 'f':
            return word("false", false);
        case '-':
            return number<std::int64_t>();
        default:
            return number<std::uint64_t>();
        }
    }

    /** What comes next that is no space and no comma; NUL at the end. */
    char front()
    {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(", \n"), rest_.size()));
        return rest_.empty() ? '\0' : rest_.front();
    }

    static void check(bool holds)
    {
        if (!holds)
        {
            throw std::invalid_argument("this is not JSON");
        }
    }

  private:
    Json object()
    {
        Json result = Json::object();
        for (take('{'); front() != '}';)
        {
            const std::string name = string();
            take(':');
            result.set(name, next());
        }
        take('}');
        return result;
    }

    Json list()
    {
        Json::List elements;
        for (take('['); front() != ']';)
        {
            elements.push_back(next());
        }
        take(']');
        return elements;
    }

    std::string string()
    {
        std::string text;
        take('"');
        for (char letter = byte(); letter != '"'; letter = byte())
        {
            text += letter == '\\' ? escaped() : letter;
        }
        return text;
    }

    /** What stands behind a backslash. Python escapes only what cannot stand for itself. */
    char escaped()
    {
        constexpr std::string_view letters = "bfnrt";
        constexpr std::string_view meanings = "\b\f\n\r\t";
        const char letter = byte();
        if (letter == 'u')
        {
            constexpr std::size_t digits = 4;
            constexpr int hexadecimal = 16;
            return whole<char>(rest_.substr(0, digits), hexadecimal);
        }
        const auto place = letters.find(letter);
        return place == std::string_view::npos ? letter : meanings[place];
    }

    template <typename Number>
    Json number()
    {
        return whole<Number>(rest_.substr(0, rest_.find_first_not_of("-0123456789")));
    }

    /** Steps over a text, all of which is a number. */
    template <typename Number>
    Number whole(std::string_view text, int base = 10)
    {
        Number number = 0;
        const auto* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data(), end, number, base);
        check(read.ec == std::errc() && read.ptr == end);
        rest_.remove_prefix(text.size());
        return number;
    }

    Json word(std::string_view text, Json value)
    {
        check(rest_.starts_with(text));
        rest_.remove_prefix(text.size());
        return value;
    }

    void take(char expected)
    {
        check(front() == expected);
        byte();
    }

    char byte()
    {
        check(!rest_.empty());
        const char first = rest_.front();
        rest_.remove_prefix(1);
        return first;
    }

    std::string_view rest_;
};

} // namespace

Json Json::parse(std::string_view text)
{
    Reader reader(text);
    Json value = reader.next();
    Reader::check(reader.front() == '\0');
    return value;
}

} // namespace sim
