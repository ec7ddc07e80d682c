// Holds answers against the description of the API: what it uses of JSON Schema, and no key that it
// does not know.
#pragma once

#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace test {

class ApiContract {
  public:
    using Json = nlohmann::json;

    explicit ApiContract(const std::string& path) {
        std::ifstream file(path);
        api_ = Json::parse(file);
    }

    // Null for what is not described.
    const Json* operation(const std::string& method, const std::string& path) const {
        std::string key = method;
        for (char& c : key)
            c = static_cast<char>(std::tolower(c));
        const auto found = api_.at("paths").find(path);
        if (found == api_["paths"].end() || !found->contains(key)) return nullptr;
        return &found->at(key);
    }

    // "GET /api/v1/place" and so on.
    std::set<std::string> operations() const {
        std::set<std::string> list;
        for (const auto& [path, methods] : api_.at("paths").items())
            for (const auto& [method, unused] : methods.items())
                if (method != "parameters") list.insert(upper(method) + " " + path);
        return list;
    }

    // The first difference of an answer with status 200; empty for none.
    std::string difference(const std::string& method, const std::string& path,
                           const Json& answer) const {
        const Json* const described = operation(method, path);
        if (described == nullptr) return path + " is not described";
        const Json& response = resolved(described->at("responses").at("200"));
        return differ(answer, response["content"]["application/json"]["schema"], "");
    }

  private:
    static std::string upper(std::string text) {
        for (char& c : text)
            c = static_cast<char>(std::toupper(c));
        return text;
    }

    const Json& resolved(const Json& given) const {
        const Json* schema = &given;
        while (schema->contains("$ref"))
            schema = &api_.at(Json::json_pointer(schema->at("$ref").get<std::string>().substr(1)));
        return *schema;
    }

    static const Json& properties_of(const Json& schema) {
        static const Json none = Json::object();
        const auto found = schema.find("properties");
        return found == schema.end() ? none : *found;
    }

    static bool is_of(const Json& value, const std::string& type) {
        if (type == "null") return value.is_null();
        if (type == "boolean") return value.is_boolean();
        if (type == "string") return value.is_string();
        if (type == "number") return value.is_number();
        if (type == "integer") return value.is_number_integer();
        if (type == "array") return value.is_array();
        return type == "object" && value.is_object();
    }

    static bool has_type(const Json& value, const Json& types) {
        if (types.is_string()) return is_of(value, types);
        for (const Json& type : types)
            if (is_of(value, type)) return true;
        return false;
    }

    // Keys of all parts of a record.
    void add_keys(const Json& given, std::set<std::string>& keys, bool& any) const {
        const Json& schema = resolved(given);
        for (const Json& part : schema.value("allOf", Json::array()))
            add_keys(part, keys, any);
        if (schema.contains("additionalProperties")) any = true;
        for (const auto& [key, unused] : properties_of(schema).items())
            keys.insert(key);
    }

    std::string differ(const Json& value, const Json& schema, const std::string& place) const {
        std::set<std::string> keys;
        bool any = false;
        add_keys(schema, keys, any);
        if (value.is_object() && !keys.empty() && !any)
            for (const auto& [key, unused] : value.items())
                if (!keys.contains(key)) return place + " has the unknown key " + key;
        return differ_in_parts(value, schema, place);
    }

    std::string differ_in_parts(const Json& value, const Json& given,
                                const std::string& place) const {
        const Json& schema = resolved(given);
        for (const Json& part : schema.value("allOf", Json::array()))
            if (std::string found = differ_in_parts(value, part, place); !found.empty())
                return found;
        if (schema.contains("oneOf")) {
            bool fits = false;
            for (const Json& one : schema["oneOf"])
                fits = fits || differ(value, one, place).empty();
            if (!fits) return place + " has none of the described forms";
        }
        if (schema.contains("enum")) {
            bool known = false;
            for (const Json& one : schema["enum"])
                known = known || one == value;
            if (!known) return place + " is " + value.dump();
        }
        if (schema.contains("type") && !has_type(value, schema["type"]))
            return place + " is " + value.dump() + ", no " + schema["type"].dump();
        if (value.is_array() && schema.contains("items")) {
            if (value.size() < schema.value("minItems", std::size_t{0}) ||
                value.size() > schema.value("maxItems", value.size()))
                return place + " has " + std::to_string(value.size()) + " items";
            for (std::size_t i = 0; i < value.size(); ++i) {
                std::string found =
                    differ(value[i], schema["items"], place + "[" + std::to_string(i) + "]");
                if (!found.empty()) return found;
            }
        }
        if (!value.is_object()) return "";
        for (const Json& key : schema.value("required", Json::array()))
            if (!value.contains(key)) return place + " has no " + key.get<std::string>();
        for (const auto& [key, described] : properties_of(schema).items()) {
            if (!value.contains(key)) continue;
            if (std::string found = differ(value[key], described, place + "." + key);
                !found.empty())
                return found;
        }
        return "";
    }

    Json api_;
};

}  // namespace test
