#pragma once

/**
 * @file
 * JSON: what Python describes a board in, and what the trace is written in.
 */

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace sim
{

/**
 * A JSON value. Numbers are whole ones: nothing on a board has a fraction. An object keeps its
 * members in the order in which they were given: the trace is also read by people.
 *
 * Asking for another type than the value has, or for a member that it lacks, throws a
 * std::exception.
 */
class Json
{
  public:
    using List = std::vector<Json>;
    using Member = std::pair<std::string, Json>;
    using Members = std::vector<Member>;

    /** Null. */
    Json() = default;
    Json(bool value) : value_(value) {}
    Json(std::integral auto number) : value_(static_cast<std::uint64_t>(number))
    {
        if (std::cmp_less(number, 0))
        {
            value_ = static_cast<std::int64_t>(number);
        }
    }
    Json(const char* text) : value_(std::string(text)) {}
    Json(std::string text) : value_(std::move(text)) {}
    Json(std::initializer_list<Member> members);
    template <typename Element>
    Json(const std::vector<Element>& elements) : value_(List(elements.begin(), elements.end()))
    {
    }

    /** An object without members. */
    static Json object() { return std::initializer_list<Member>{}; }

    /** @throws std::exception when the text is not JSON of this kind */
    static Json parse(std::string_view text);

    /** The value in one line. Bytes in its texts that are no UTF-8 stay as they are. */
    std::string text() const;

    bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
    bool operator==(const Json& other) const;

    /** The value as a boolean, number, text or vector of these. */
    template <typename T>
    T as() const;

    const List& elements() const { return std::get<List>(value_); }
    const Members& members() const { return std::get<Members>(value_); }

    /** The member of an object; null where there is none of this name. */
    const Json* find(std::string_view name) const;
    const Json& at(std::string_view name) const;

    /** What the member of an object is, or `otherwise` where there is none. */
    template <typename T>
    T value(std::string_view name, T otherwise) const
    {
        const Json* const member = find(name);
        return member == nullptr ? otherwise : member->as<T>();
    }

    /** Adds a member to an object, or replaces it. */
    void set(std::string_view name, Json value);

    /** Adds or replaces all members of another object. */
    void update(const Json& other);

  private:
    /** The number, a negative one as the bits of its two's complement. */
    std::uint64_t number() const;

    /** A signed number is a negative one, so that equal numbers are equal values. */
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, std::string, List, Members>
        value_;
};

template <typename T>
T Json::as() const
{
    if constexpr (std::same_as<T, Json>)
    {
        return *this;
    }
    else if constexpr (std::same_as<T, bool> || std::same_as<T, std::string>)
    {
        return std::get<T>(value_);
    }
    else if constexpr (std::integral<T>)
    {
        return static_cast<T>(number());
    }
    else
    {
        T all;
        for (const Json& element : elements())
        {
            all.push_back(element.as<typename T::value_type>());
        }
        return all;
    }
}

} // namespace sim
