#pragma once

/**
 * @file
 * JSON: what Python describes a board in, and what the trace is written in.
 */

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <json-c/json.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim
{

/**
 * A JSON value, which never changes. Copies share it, also between threads; but what goes into
 * another value is copied, because json-c's own counts of references are not made for threads.
 */
class Json
{
  public:
    using Member = std::pair<const char*, Json>;

    /** Null. */
    Json() = default;
    Json(bool value) : Json(json_object_new_boolean(value ? 1 : 0)) {}
    Json(std::integral auto number) :
        Json(std::in_range<std::int64_t>(number)
                 ? json_object_new_int64(static_cast<std::int64_t>(number))
                 : json_object_new_uint64(static_cast<std::uint64_t>(number)))
    {
    }
    template <std::convertible_to<std::string_view> Text>
    Json(const Text& text) : Json(textOf(text))
    {
    }
    Json(std::initializer_list<Member> members) : Json(json_object_new_object())
    {
        for (const auto& [name, value] : members)
        {
            json_object_object_add(value_.get(), name, copyOf(value.value_.get()));
        }
    }
    template <typename Element>
    Json(const std::vector<Element>& elements) : Json(json_object_new_array())
    {
        for (const Element& element : elements)
        {
            json_object_array_add(value_.get(), copyOf(Json(element).value_.get()));
        }
    }

    /** An object without members. */
    static Json object() { return std::initializer_list<Member>{}; }

    /** @throws std::invalid_argument when the text is not JSON */
    static Json parse(const std::string& text)
    {
        json_tokener_error error = json_tokener_success;
        Json value(json_tokener_parse_verbose(text.c_str(), &error));
        return error == json_tokener_success
                   ? value
                   : throw std::invalid_argument(json_tokener_error_desc(error));
    }

    /**
     * The value in one line. Bytes in its texts that are no UTF-8 stay as they are.
     *
     * json-c keeps the line in the value: not for one that another thread may ask, too.
     */
    std::string text() const
    {
        constexpr int flags = JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE;
        std::size_t length = 0;
        const char* const text = json_object_to_json_string_length(value_.get(), flags, &length);
        return {text, length};
    }

    bool isNull() const { return value_ == nullptr; }

    /** The member of an object; null where there is none of this name. */
    Json operator[](const std::string& name) const
    {
        return {value_, json_object_object_get(value_.get(), name.c_str())};
    }

    /** What the member of an object is, or `otherwise` where there is none. */
    template <typename T>
    T value(const std::string& name, T otherwise) const
    {
        const Json member = (*this)[name];
        return member.isNull() ? otherwise : member.as<T>();
    }

    /** Whether an object has all members of another one. */
    bool contains(const Json& part) const
    {
        json_object_iter member{};
        json_object_object_foreachC(part.checked(json_type_object), member)
        {
            if (json_object_equal((*this)[member.key].value_.get(), member.val) == 0)
            {
                return false;
            }
        }
        return true;
    }

    /** An object with the members of another one, too, which replace those of the same name. */
    Json with(const Json& more) const
    {
        Json all(copyOf(value_.get()));
        json_object_iter member{};
        json_object_object_foreachC(more.checked(json_type_object), member)
        {
            json_object_object_add(all.value_.get(), member.key, copyOf(member.val));
        }
        return all;
    }

    /**
     * The value as a boolean, number, text or vector of these or of values.
     *
     * @throws std::invalid_argument when it is of another type
     */
    template <typename T>
    T as() const;

  private:
    /** Takes the value over. */
    explicit Json(json_object* value) : value_(value, json_object_put) {}
    /** A part of a value. */
    Json(const std::shared_ptr<json_object>& whole, json_object* part) : value_(whole, part) {}

    static json_object* textOf(std::string_view text)
    {
        return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
    }
    static json_object* copyOf(json_object* value)
    {
        json_object* copy = nullptr;
        json_object_deep_copy(value, &copy, nullptr);
        return copy;
    }
    json_object* checked(json_type type) const
    {
        return json_object_is_type(value_.get(), type) != 0
                   ? value_.get()
                   : throw std::invalid_argument(std::string("no ") + json_type_to_name(type));
    }

    std::shared_ptr<json_object> value_;
};

template <typename T>
T Json::as() const
{
    if constexpr (std::same_as<T, Json>)
    {
        return *this;
    }
    else if constexpr (std::same_as<T, bool>)
    {
        return json_object_get_boolean(checked(json_type_boolean)) != 0;
    }
    else if constexpr (std::same_as<T, std::string>)
    {
        json_object* const text = checked(json_type_string);
        return {json_object_get_string(text),
                static_cast<std::size_t>(json_object_get_string_len(text))};
    }
    else if constexpr (std::integral<T>)
    {
        const std::int64_t number = json_object_get_int64(checked(json_type_int));
        return number < 0 ? static_cast<T>(number)
                          : static_cast<T>(json_object_get_uint64(value_.get()));
    }
    else
    {
        T all;
        const std::size_t size = json_object_array_length(checked(json_type_array));
        for (std::size_t i = 0; i < size; ++i)
        {
            const Json element(value_, json_object_array_get_idx(value_.get(), i));
            all.push_back(element.as<typename T::value_type>());
        }
        return all;
    }
}

} // namespace sim
