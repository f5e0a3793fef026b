#include "board/json.hpp"

#include <algorithm>
#include <stdexcept>

namespace sim
{

namespace
{

std::string quoted(std::string_view text)
{
    constexpr auto digits = "0123456789abcdef";
    constexpr unsigned char firstPrintable = 0x20;
    std::string result = "\"";
    for (const char letter : text)
    {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < firstPrintable)
        {
            result += letter == '\n' ? "\\n" : "\\u00";
            result += letter == '\n' ? "" : std::string{digits[byte >> 4U], digits[byte & 0x0FU]};
            continue;
        }
        result += letter == '"' || letter == '\\' ? "\\" : "";
        result += letter;
    }
    return result + "\"";
}

/** Elements one after the other, with commas between them. */
template <typename Elements, typename TextOf>
std::string joined(const Elements& elements, TextOf textOf)
{
    std::string result;
    for (const auto& element : elements)
    {
        result += (result.empty() ? "" : ",") + textOf(element);
    }
    return result;
}

/** The text of each type of value. */
struct Writer
{
    std::string operator()(std::monostate /*null*/) const { return "null"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::integral auto number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return quoted(text); }
    std::string operator()(const Json::List& list) const
    {
        return "[" + joined(list, [](const Json& element) { return element.text(); }) + "]";
    }
    std::string operator()(const Json::Members& members) const
    {
        const auto textOf = [](const Json::Member& member)
        { return quoted(member.first) + ":" + member.second.text(); };
        return "{" + joined(members, textOf) + "}";
    }
};

} // namespace

Json::Json(std::initializer_list<Member> members) : value_(Members(members)) {}

std::string Json::text() const
{
    return std::visit(Writer(), value_);
}

bool Json::operator==(const Json& other) const
{
    return value_ == other.value_;
}

const Json* Json::find(std::string_view name) const
{
    const auto found = std::ranges::find(members(), name, &Member::first);
    return found == members().end() ? nullptr : &found->second;
}

const Json& Json::at(std::string_view name) const
{
    if (const Json* const member = find(name))
    {
        return *member;
    }
    throw std::out_of_range("there is no " + quoted(name) + " in " + text());
}

void Json::set(std::string_view name, Json value)
{
    auto& all = std::get<Members>(value_);
    const auto found = std::ranges::find(all, name, &Member::first);
    if (found == all.end())
    {
        all.emplace_back(name, std::move(value));
    }
    else
    {
        found->second = std::move(value);
    }
}

void Json::update(const Json& other)
{
    for (const auto& [name, value] : other.members())
    {
        set(name, value);
    }
}

std::uint64_t Json::number() const
{
    const auto* const negative = std::get_if<std::int64_t>(&value_);
    return negative == nullptr ? std::get<std::uint64_t>(value_)
                               : static_cast<std::uint64_t>(*negative);
}

} // namespace sim
