// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/vtmail/json_schema.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

const json& wholeSchema() {
    static const json schema = json::parse(std::ifstream(VTMAIL_SCHEMA));
    return schema;
}

class Comparison {
  public:
    std::string differences(const json& schema, const json& value) {
        compare(schema, value, "$");
        return text_;
    }

  private:
    using Check = void (Comparison::*)(const json&, const json&, const json&, const std::string&);

    void compare(const json& schema, const json& value, const std::string& path) {
        static const std::map<std::string, Check> checks = {
            {"$ref", &Comparison::follow},           {"type", &Comparison::checkType},
            {"const", &Comparison::checkConstant},   {"enum", &Comparison::checkChoice},
            {"properties", &Comparison::checkKnown}, {"required", &Comparison::checkRequired},
            {"items", &Comparison::checkItems},      {"oneOf", &Comparison::checkOneOf},
            {"minimum", &Comparison::checkMinimum}};
        for (const auto& [keyword, rule] : schema.items()) {
            const auto check = checks.find(keyword);
            if (check != checks.end())
                (this->*check->second)(schema, rule, value, path);
            else if (keyword == "additionalProperties")
                checkFurther(schema, rule, value, path);
            else
                require(keyword == "description", path, "keyword " + keyword);
        }
    }

    void require(bool isMet, const std::string& path, const std::string& rule) {
        if (!isMet) text_ += path + ": " + rule + "\n";
    }

    void follow(const json&, const json& rule, const json& value, const std::string& path) {
        const std::string pointer = rule.get<std::string>().substr(1);
        compare(wholeSchema().at(json::json_pointer(pointer)), value, path);
    }

    static bool isOf(const std::string& type, const json& value) {
        if (type == "integer") return value.is_number_integer();
        return type == value.type_name();
    }

    void checkType(const json&, const json& rule, const json& value, const std::string& path) {
        require(isOf(rule, value), path, "type " + rule.dump());
    }
    void checkConstant(const json&, const json& rule, const json& value, const std::string& path) {
        require(value == rule, path, "const " + rule.dump());
    }
    void checkChoice(const json&, const json& rule, const json& value, const std::string& path) {
        require(std::find(rule.begin(), rule.end(), value) != rule.end(), path,
                "enum " + rule.dump());
    }
    void checkMinimum(const json&, const json& rule, const json& value, const std::string& path) {
        require(value >= rule, path, "minimum " + rule.dump());
    }
    void checkKnown(const json&, const json& rule, const json& value, const std::string& path) {
        for (const auto& [name, schema] : rule.items())
            if (value.contains(name)) compare(schema, value[name], path + "." + name);
    }
    void checkRequired(const json&, const json& rule, const json& value, const std::string& path) {
        for (const std::string name : rule) require(value.contains(name), path, "required " + name);
    }
    void checkFurther(const json& schema, const json& rule, const json& value,
                      const std::string& path) {
        for (const auto& [name, member] : value.items()) {
            if (schema.contains("properties") && schema["properties"].contains(name)) continue;
            if (rule.is_boolean())
                require(rule, path, "no " + name);
            else
                compare(rule, member, path + "." + name);
        }
    }
    void checkItems(const json&, const json& rule, const json& value, const std::string& path) {
        for (std::size_t at = 0; at < value.size(); ++at)
            compare(rule, value[at], path + "[" + std::to_string(at) + "]");
    }
    void checkOneOf(const json&, const json& rule, const json& value, const std::string& path) {
        std::string all;
        int fitting = 0;
        for (const json& schema : rule) {
            const std::string differences = Comparison().differences(schema, value);
            all += differences;
            if (differences.empty()) ++fitting;
        }
        require(fitting == 1, path, std::to_string(fitting) + " of oneOf fit: " + all);
    }

    std::string text_;
};

}  // namespace

std::string differencesFromSchema(const std::string& definition, const std::string& text) {
    const json value = json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) return "no JSON: " + text;
    return Comparison().differences(wholeSchema().at("$defs").at(definition), value);
}
