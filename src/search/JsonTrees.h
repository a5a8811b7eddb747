#pragma once

#include "jobs/FastJson.h"
#include "jobs/Json.h"

#include <optional>
#include <string>
#include <string_view>

namespace JobsManagerD {

// The trees of the two parsers, seen alike: what is told of a value does not depend on who has parsed it.

enum class Kind { object, array, text, other };

struct GeneralTree {
    using Value = const nlohmann::json*;

    static Kind KindOf(Value value) {
        if (value->is_object())
            return Kind::object;
        if (value->is_array())
            return Kind::array;
        return value->is_string() ? Kind::text : Kind::other;
    }
    static std::string_view Text(Value value) { return value->get_ref<const std::string&>(); }

    /// Calls `visit(key, value)` for each member of an object.
    template <typename Visit>
    static void EachMember(Value object, Visit visit) {
        for (const auto& [key, member] : object->items())
            visit(std::string_view(key), &member);
    }
    /// Calls `visit(element)` for the elements of an array until it returns true.
    template <typename Visit>
    static bool AnyElement(Value array, Visit visit) {
        for (const nlohmann::json& element : *array)
            if (visit(&element))
                return true;
        return false;
    }
    static std::optional<Value> Find(Value value, std::string_view key) {
        if (!value->is_object())
            return std::nullopt;
        const auto found = value->find(key);
        return found == value->end() ? std::nullopt : std::optional<Value>(&*found);
    }
    static std::optional<uint8_t> Byte(Value value) {
        return value->is_number() ? std::optional(JsonNumber<uint8_t>(*value)) : std::nullopt;
    }
    /// As compact JSON.
    static std::string Dump(Value value) { return CompactDump(*value); }
};

struct FastTree {
    using Value = simdjson::dom::element;

    static Kind KindOf(Value value) {
        switch (value.type()) {
        case simdjson::dom::element_type::OBJECT:
            return Kind::object;
        case simdjson::dom::element_type::ARRAY:
            return Kind::array;
        case simdjson::dom::element_type::STRING:
            return Kind::text;
        default:
            return Kind::other;
        }
    }
    static std::string_view Text(Value value) { return value.get_string().value_unsafe(); }

    /// Of a key that is given several times, all members are visited; the last one counts.
    template <typename Visit>
    static void EachMember(Value value, Visit visit) {
        const simdjson::dom::object object = value.get_object().value_unsafe();
        for (const simdjson::dom::key_value_pair member : object)
            visit(member.key, member.value);
    }
    template <typename Visit>
    static bool AnyElement(Value value, Visit visit) {
        const simdjson::dom::array array = value.get_array().value_unsafe();
        for (const simdjson::dom::element element : array)
            if (visit(element))
                return true;
        return false;
    }
    static std::optional<Value> Find(Value value, std::string_view key) {
        std::optional<Value> found;
        if (value.is_object())
            EachMember(value, [&found, key](std::string_view name, Value member) {
                if (name == key)
                    found = member;
            });
        return found;
    }
    static std::optional<uint8_t> Byte(Value value) {
        switch (value.type()) {
        case simdjson::dom::element_type::INT64:
            return static_cast<uint8_t>(value.get_int64().value_unsafe());
        case simdjson::dom::element_type::UINT64:
            return static_cast<uint8_t>(value.get_uint64().value_unsafe());
        case simdjson::dom::element_type::DOUBLE:
            return JsonNumber<uint8_t>(nlohmann::json(value.get_double().value_unsafe()));
        default:
            return std::nullopt;
        }
    }
    static std::string Dump(Value value) {
        return CompactDump(nlohmann::json::parse(std::string(simdjson::minify(value))));
    }
};

} // namespace JobsManagerD
