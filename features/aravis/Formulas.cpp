// Formulas of SwissKnife, IntSwissKnife, Converter and IntConverter nodes, grouped as GenApi
// groups them. GenApi's formula parser gives `&&` and `||` one precedence level and `&`, `|`
// and `^` another, each evaluated left to right; the engine uses C's levels (`&&` before `||`,
// `&` before `^` before `|`). Each formula that uses these operators is handed to the engine
// with its groups in parentheses, so that `1 || 0 && 0` is 0 and `3 | 4 & 1` is 1 as on GenApi.
#include <cctype>
#include <optional>
#include <vector>

#include "features/aravis/Engine.h"

namespace tq4::features {

namespace {

struct Token {
    enum Kind { Operand, Operator, Open, Close, Comma } kind;
    std::string text;
};

// Operators, longest first so that `**`, `<<`, `<=`, `<>`, `&&` and `||` are read whole.
constexpr const char* kOperators[] = {"**", "<<", ">>", "<=", ">=", "<>", "&&", "||", "+", "-", "*",
                                      "/",  "%",  "&",  "|",  "^",  "~",  "=",  "<",  ">", "?", ":"};

bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.'; }

// A number or a name as the formula writes it; an exponent's sign stays with its number.
std::size_t operandEnd(const std::string& text, std::size_t at) {
    const bool number = std::isdigit(static_cast<unsigned char>(text[at])) || text[at] == '.';
    std::size_t end = at;
    while (end < text.size()) {
        const char c = text[end];
        const bool exponentSign = number && (c == '+' || c == '-') && end > at &&
                                  (text[end - 1] == 'e' || text[end - 1] == 'E') && text.compare(at, 2, "0x") != 0 &&
                                  text.compare(at, 2, "0X") != 0;
        if (!isNameChar(c) && !exponentSign) break;
        ++end;
    }
    return end;
}

std::optional<std::vector<Token>> tokenize(const std::string& text) {
    std::vector<Token> tokens;
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++at;
        } else if (isNameChar(c)) {
            const std::size_t end = operandEnd(text, at);
            tokens.push_back({Token::Operand, text.substr(at, end - at)});
            at = end;
        } else if (c == '(' || c == ')' || c == ',') {
            tokens.push_back({c == '(' ? Token::Open : c == ')' ? Token::Close : Token::Comma, std::string(1, c)});
            ++at;
        } else {
            const char* found = nullptr;
            for (const char* op : kOperators)
                if (text.compare(at, std::char_traits<char>::length(op), op) == 0) {
                    found = op;
                    break;
                }
            if (!found) return std::nullopt;
            tokens.push_back({Token::Operator, found});
            at += std::char_traits<char>::length(found);
        }
    }
    return tokens;
}

// Binding strength of a binary operator (0: not one); GenApi's levels.
int binaryLevel(const std::string& op) {
    if (op == "||" || op == "&&") return 2;
    if (op == "|" || op == "^" || op == "&") return 3;
    if (op == "=" || op == "<>") return 4;
    if (op == "<" || op == ">" || op == "<=" || op == ">=") return 5;
    if (op == "<<" || op == ">>") return 6;
    if (op == "+" || op == "-") return 7;
    if (op == "*" || op == "/" || op == "%") return 8;
    if (op == "**") return 9;
    return 0;
}

// Precedence climbing over the tokens, writing every operation inside parentheses.
class Grouper {
public:
    explicit Grouper(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

    std::optional<std::string> whole() {
        std::optional<std::string> result = expression();
        return result && at_ == tokens_.size() ? result : std::nullopt;
    }

private:
    const Token* peek() const { return at_ < tokens_.size() ? &tokens_[at_] : nullptr; }
    bool nextIs(Token::Kind kind, const char* text = nullptr) const {
        const Token* token = peek();
        return token && token->kind == kind && (!text || token->text == text);
    }

    // condition ? then : else, right to left.
    std::optional<std::string> expression() {
        std::optional<std::string> condition = binary(1);
        if (!condition || !nextIs(Token::Operator, "?")) return condition;
        ++at_;
        std::optional<std::string> then = expression();
        if (!then || !nextIs(Token::Operator, ":")) return std::nullopt;
        ++at_;
        std::optional<std::string> otherwise = expression();
        if (!otherwise) return std::nullopt;
        return "(" + *condition + " ? " + *then + " : " + *otherwise + ")";
    }

    std::optional<std::string> binary(int lowest) {
        std::optional<std::string> left = unary();
        while (left && nextIs(Token::Operator)) {
            const std::string op = peek()->text;
            const int level = binaryLevel(op);
            if (level == 0 || level < lowest) break;
            ++at_;
            // `**` groups right to left, every other operator left to right.
            std::optional<std::string> right = binary(op == "**" ? level : level + 1);
            if (!right) return std::nullopt;
            left = "(" + *left + " " + op + " " + *right + ")";
        }
        return left;
    }

    std::optional<std::string> unary() {
        if (nextIs(Token::Operator, "-") || nextIs(Token::Operator, "+") || nextIs(Token::Operator, "~")) {
            const std::string op = tokens_[at_++].text;
            std::optional<std::string> operand = unary();
            return operand ? std::optional<std::string>("(" + op + *operand + ")") : std::nullopt;
        }
        return primary();
    }

    // A number, a name, a function call or a formula in parentheses.
    std::optional<std::string> primary() {
        if (nextIs(Token::Open)) {
            ++at_;
            std::optional<std::string> inner = expression();
            if (!inner || !nextIs(Token::Close)) return std::nullopt;
            ++at_;
            return "(" + *inner + ")";
        }
        if (!nextIs(Token::Operand)) return std::nullopt;
        std::string operand = tokens_[at_++].text;
        if (!nextIs(Token::Open)) return operand;
        ++at_;
        operand += "(";
        for (bool first = true; !nextIs(Token::Close); first = false) {
            if (!first) {
                if (!nextIs(Token::Comma)) return std::nullopt;
                ++at_;
                operand += ", ";
            }
            std::optional<std::string> argument = expression();
            if (!argument) return std::nullopt;
            operand += *argument;
        }
        ++at_;
        return operand + ")";
    }

    std::vector<Token> tokens_;
    std::size_t at_ = 0;
};

bool usesLogicalOrBitwiseOperators(const std::vector<Token>& tokens) {
    for (const Token& token : tokens)
        if (token.kind == Token::Operator && binaryLevel(token.text) >= 2 && binaryLevel(token.text) <= 3) return true;
    return false;
}

bool isFormula(ArvDomNode* node) {
    if (!ARV_IS_GC_PROPERTY_NODE(node)) return false;
    switch (arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(node))) {
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA:
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO:
        case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM:
        case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION: return true;
        default: return false;
    }
}

void regroupBelow(ArvDomNode* parent) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child;
         child = arv_dom_node_get_next_sibling(child)) {
        if (!isFormula(child)) {
            regroupBelow(child);
            continue;
        }
        GError* error = nullptr;
        const char* text = arv_gc_property_node_get_string(ARV_GC_PROPERTY_NODE(child), &error);
        if (error) {
            g_error_free(error);
            continue;
        }
        const std::string grouped = groupedAsGenApi(text ? text : "");
        if (grouped != (text ? text : "")) {
            arv_gc_property_node_set_string(ARV_GC_PROPERTY_NODE(child), grouped.c_str(), &error);
            if (error) g_error_free(error);
        }
    }
}

}  // namespace

std::string groupedAsGenApi(const std::string& formula) {
    std::optional<std::vector<Token>> tokens = tokenize(formula);
    // A formula these operators do not occur in, or one this reading does not follow, is the
    // engine's to evaluate as written.
    if (!tokens || !usesLogicalOrBitwiseOperators(*tokens)) return formula;
    return Grouper(std::move(*tokens)).whole().value_or(formula);
}

void groupFormulasAsGenApi(ArvGc* genicam) {
    ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(genicam));
    if (root) regroupBelow(ARV_DOM_NODE(root));
}

}  // namespace tq4::features
