#include "topic/MessageFilter.h"

#include <cctype>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "cli/UsageError.h"
#include "text/PythonOperations.h"

namespace qorCli {

// ---------------------------------------------------------------------------------------------
// The expression tree.

struct MessageFilter::Expression {
    enum class Kind {
        LITERAL,    // `literal`
        MESSAGE,    // m
        ATTRIBUTE,  // operands[0].name
        SUBSCRIPT,  // operands[0][operands[1]]
        CALL,       // name(operands...): a builtin
        METHOD,     // operands[0].name(operands[1...])
        UNARY,      // name operands[0]: "-", "+"
        BINARY,     // operands[0] name operands[1]: "+", "-", "*", "/", "//", "%", "**"
        AND,        // operands[0] and operands[1] and ...
        OR,         // operands[0] or operands[1] or ...
        NOT,        // not operands[0]
        COMPARE,    // operands[0] comparisons[0] operands[1] comparisons[1] ...
        SEQUENCE,   // [operands...] or (operands...)
    };
    Kind kind = Kind::LITERAL;
    PythonValue literal;
    std::string name;
    std::vector<std::string> comparisons;
    std::vector<std::unique_ptr<Expression>> operands;
    bool list = false;  // SEQUENCE: in brackets
};

namespace {

using Expression = MessageFilter::Expression;
using Kind = Expression::Kind;

// ---------------------------------------------------------------------------------------------
// Reading the text.

struct Token {
    enum class Type { NAME, NUMBER, STRING, OPERATOR, END };
    Type type = Type::END;
    std::string text;   // as written
    PythonValue value;  // NUMBER, STRING
    std::size_t column = 0;
};

class Parser {
  public:
    Parser(const std::string& option, const std::string& text) : m_option(option), m_text(text) {
        tokenize();
    }

    std::unique_ptr<Expression> parse() {
        auto root = orTest();
        if (peek().type != Token::Type::END) {
            refuse("unexpected " + describe(peek()));
        }
        return root;
    }

  private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw UsageError("argument " + m_option + ": cannot evaluate '" + m_text + "': " + what +
                         "; a filter may use " + kFilterSubset);
    }

    static std::string describe(const Token& token) {
        return token.type == Token::Type::END ? std::string("end of the expression")
                                              : "'" + token.text + "'";
    }

    // --- tokens ---

    void tokenize() {
        std::size_t at = 0;
        while (true) {
            while (at < m_text.size() && (m_text[at] == ' ' || m_text[at] == '\t')) {
                ++at;
            }
            Token token;
            token.column = at + 1;
            if (at == m_text.size()) {
                m_tokens.push_back(token);
                return;
            }
            const char c = m_text[at];
            if (std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_') {
                std::size_t end = at;
                while (end < m_text.size() &&
                       (std::isalnum(static_cast<unsigned char>(m_text[end])) != 0 ||
                        m_text[end] == '_')) {
                    ++end;
                }
                const std::string word = m_text.substr(at, end - at);
                const bool prefix = word.size() <= 2 && end < m_text.size() &&
                                    (m_text[end] == '\'' || m_text[end] == '"');
                if (prefix) {
                    at = readString(word, end, token);
                } else {
                    token.type = Token::Type::NAME;
                    token.text = word;
                    at = end;
                }
            } else if (std::isdigit(static_cast<unsigned char>(c)) != 0 ||
                       (c == '.' && at + 1 < m_text.size() &&
                        std::isdigit(static_cast<unsigned char>(m_text[at + 1])) != 0)) {
                at = readNumber(at, token);
            } else if (c == '\'' || c == '"') {
                at = readString("", at, token);
            } else {
                static const char* const kOperators[] = {
                    "**", "//", "==", "!=", "<=", ">=", "<<", ">>", ":=", "->", "+", "-", "*",
                    "/",  "%",  "<",  ">",  "(",  ")",  "[",  "]",  ",",  ".",  ":", "|", "&",
                    "^",  "~",  "@",  "{",  "}",  "=",  ";",  "!",  "`",  "$",  "?", "\\"};
                for (const char* op : kOperators) {
                    if (m_text.compare(at, std::char_traits<char>::length(op), op) == 0) {
                        token.type = Token::Type::OPERATOR;
                        token.text = op;
                        break;
                    }
                }
                if (token.type != Token::Type::OPERATOR) {
                    token.text = std::string(1, c);
                    refuse("unexpected character '" + token.text + "' at column " +
                           std::to_string(token.column));
                }
                at += token.text.size();
            }
            m_tokens.push_back(token);
        }
    }

    std::size_t readNumber(std::size_t at, Token& token) {
        std::size_t end = at;
        while (end < m_text.size() &&
               (std::isalnum(static_cast<unsigned char>(m_text[end])) != 0 || m_text[end] == '_' ||
                m_text[end] == '.' ||
                ((m_text[end] == '+' || m_text[end] == '-') &&
                 (m_text[end - 1] == 'e' || m_text[end - 1] == 'E') &&
                 m_text.compare(at, 2, "0x") != 0 && m_text.compare(at, 2, "0X") != 0))) {
            ++end;
        }
        token.type = Token::Type::NUMBER;
        token.text = m_text.substr(at, end - at);
        std::string digits;
        for (std::size_t i = 0; i < token.text.size(); ++i) {
            const char c = token.text[i];
            if (c == '_') {
                // Python allows one underscore between two digits.
                const bool between = i > 0 && i + 1 < token.text.size() &&
                                     std::isxdigit(static_cast<unsigned char>(token.text[i - 1])) &&
                                     std::isxdigit(static_cast<unsigned char>(token.text[i + 1]));
                if (!between) {
                    refuse("invalid number " + token.text);
                }
                continue;
            }
            digits += c;
        }
        if (digits.back() == 'j' || digits.back() == 'J') {
            refuse("complex numbers are not supported (" + token.text + ")");
        }
        int base = 10;
        std::string body = digits;
        if (digits.size() > 2 && digits[0] == '0' &&
            std::isalpha(static_cast<unsigned char>(digits[1]))) {
            const char marker =
                static_cast<char>(std::tolower(static_cast<unsigned char>(digits[1])));
            base = marker == 'x' ? 16 : marker == 'o' ? 8 : marker == 'b' ? 2 : 0;
            body = digits.substr(2);
        }
        const bool integer = base != 10 || body.find_first_of(".eE") == std::string::npos;
        if (base == 0 || body.empty()) {
            refuse("invalid number " + token.text);
        }
        if (integer) {
            if (base == 10 && body.size() > 1 && body[0] == '0' &&
                body.find_first_not_of('0') != std::string::npos) {
                refuse("leading zeros in a decimal number are not allowed in Python (" +
                       token.text + ")");
            }
            PythonInt value = 0;
            for (const char c : body) {
                const int digit = std::isdigit(static_cast<unsigned char>(c)) != 0
                                      ? c - '0'
                                      : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
                if (digit < 0 || digit >= base) {
                    refuse("invalid number " + token.text);
                }
                if (value > (std::numeric_limits<PythonInt>::max() - digit) / base) {
                    refuse("the number " + token.text + " is too large");
                }
                value = value * base + digit;
            }
            token.value = PythonValue{value};
        } else {
            char* parsed = nullptr;
            const double value = std::strtod(body.c_str(), &parsed);
            if (parsed != body.c_str() + body.size()) {
                refuse("invalid number " + token.text);
            }
            token.value = PythonValue{value};
        }
        return end;
    }

    // Appends the UTF-8 form of code point `code` to `out`.
    static void appendUtf8(std::string& out, unsigned long code) {
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (code >> 18));
            out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
    }

    // A string literal from `at` (its opening quote), with the prefix letters `prefix`.
    std::size_t readString(const std::string& prefix, std::size_t at, Token& token) {
        std::string lower;
        for (const char c : prefix) {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        const bool raw = lower.find('r') != std::string::npos;
        const bool bytes = lower.find('b') != std::string::npos;
        if (lower.find_first_not_of("rb") != std::string::npos ||
            (lower.size() == 2 && lower[0] == lower[1])) {
            refuse("the string prefix '" + prefix + "' is not supported");
        }
        const char quote = m_text[at];
        if (m_text.compare(at, 3, std::string(3, quote)) == 0) {
            refuse("triple-quoted strings are not supported");
        }
        std::string value;
        std::size_t i = at + 1;
        while (true) {
            if (i >= m_text.size()) {
                refuse("a string starting at column " + std::to_string(at + 1) + " is not closed");
            }
            const char c = m_text[i];
            if (c == quote) {
                ++i;
                break;
            }
            if (bytes && static_cast<unsigned char>(c) >= 0x80) {
                refuse("bytes can only contain ASCII literal characters");
            }
            if (c != '\\' || raw) {
                value += c;
                if (c == '\\' && i + 1 < m_text.size()) {
                    value += m_text[++i];
                }
                ++i;
                continue;
            }
            if (i + 1 >= m_text.size()) {
                refuse("a string ends in a lone backslash");
            }
            const char e = m_text[i + 1];
            i += 2;
            const auto hex = [&](std::size_t count) {
                if (i + count > m_text.size()) {
                    refuse("a \\x, \\u or \\U escape needs " + std::to_string(count) +
                           " hexadecimal digits");
                }
                unsigned long code = 0;
                for (std::size_t k = 0; k < count; ++k, ++i) {
                    if (std::isxdigit(static_cast<unsigned char>(m_text[i])) == 0) {
                        refuse("a \\x, \\u or \\U escape needs " + std::to_string(count) +
                               " hexadecimal digits");
                    }
                    code = code * 16 + static_cast<unsigned long>(
                                           std::stoi(std::string(1, m_text[i]), nullptr, 16));
                }
                return code;
            };
            switch (e) {
                case '\\':
                    value += '\\';
                    break;
                case '\'':
                    value += '\'';
                    break;
                case '"':
                    value += '"';
                    break;
                case 'n':
                    value += '\n';
                    break;
                case 't':
                    value += '\t';
                    break;
                case 'r':
                    value += '\r';
                    break;
                case 'a':
                    value += '\a';
                    break;
                case 'b':
                    value += '\b';
                    break;
                case 'f':
                    value += '\f';
                    break;
                case 'v':
                    value += '\v';
                    break;
                case 'x': {
                    const unsigned long code = hex(2);
                    if (bytes) {
                        value += static_cast<char>(code);
                    } else {
                        appendUtf8(value, code);
                    }
                    break;
                }
                case 'u':
                case 'U': {
                    if (bytes) {
                        value += '\\';
                        value += e;
                        break;
                    }
                    const unsigned long code = hex(e == 'u' ? 4 : 8);
                    if (code > 0x10FFFF) {
                        refuse("the escape \\U" + std::to_string(code) + " is not a character");
                    }
                    appendUtf8(value, code);
                    break;
                }
                default:
                    if (e >= '0' && e <= '7') {
                        unsigned long code = static_cast<unsigned long>(e - '0');
                        for (int k = 0;
                             k < 2 && i < m_text.size() && m_text[i] >= '0' && m_text[i] <= '7';
                             ++k, ++i) {
                            code = code * 8 + static_cast<unsigned long>(m_text[i] - '0');
                        }
                        if (bytes) {
                            value += static_cast<char>(code & 0xFF);
                        } else {
                            appendUtf8(value, code);
                        }
                    } else {
                        // Python keeps an unknown escape as written.
                        value += '\\';
                        value += e;
                    }
            }
        }
        token.type = Token::Type::STRING;
        token.text = m_text.substr(at - prefix.size(), i - at + prefix.size());
        token.value = bytes ? PythonValue{PythonBytes{value}} : PythonValue{value};
        return i;
    }

    // --- grammar, from the loosest binding to the tightest, as Python's ---

    const Token& peek() const { return m_tokens[m_next]; }
    const Token& take() { return m_tokens[m_next++]; }

    bool takeWord(const std::string& word) {
        if (peek().type == Token::Type::NAME && peek().text == word) {
            ++m_next;
            return true;
        }
        return false;
    }

    bool takeOperator(const std::string& op) {
        if (peek().type == Token::Type::OPERATOR && peek().text == op) {
            ++m_next;
            return true;
        }
        return false;
    }

    void expectOperator(const std::string& op) {
        if (!takeOperator(op)) {
            refuse("expected '" + op + "' at column " + std::to_string(peek().column) + ", found " +
                   describe(peek()));
        }
    }

    static std::unique_ptr<Expression> make(Kind kind) {
        auto expression = std::make_unique<Expression>();
        expression->kind = kind;
        return expression;
    }

    std::unique_ptr<Expression> joined(Kind kind, const std::string& word,
                                       std::unique_ptr<Expression> (Parser::*next)()) {
        auto first = (this->*next)();
        if (peek().type != Token::Type::NAME || peek().text != word) {
            return first;
        }
        auto all = make(kind);
        all->operands.push_back(std::move(first));
        while (takeWord(word)) {
            all->operands.push_back((this->*next)());
        }
        return all;
    }

    std::unique_ptr<Expression> orTest() {
        auto test = joined(Kind::OR, "or", &Parser::andTest);
        if (peek().type == Token::Type::NAME && (peek().text == "if" || peek().text == "for")) {
            refuse("'" + peek().text + "' expressions are not supported");
        }
        return test;
    }

    std::unique_ptr<Expression> andTest() { return joined(Kind::AND, "and", &Parser::notTest); }

    std::unique_ptr<Expression> notTest() {
        if (takeWord("not")) {
            auto negation = make(Kind::NOT);
            negation->operands.push_back(notTest());
            return negation;
        }
        return comparison();
    }

    // The comparison operator at the next tokens, taken, or empty.
    std::string comparisonOperator() {
        static const char* const kSymbols[] = {"==", "!=", "<=", ">=", "<", ">"};
        for (const char* symbol : kSymbols) {
            if (takeOperator(symbol)) {
                return symbol;
            }
        }
        if (takeWord("in")) {
            return "in";
        }
        if (peek().type == Token::Type::NAME && peek().text == "not" &&
            m_tokens[m_next + 1].type == Token::Type::NAME && m_tokens[m_next + 1].text == "in") {
            m_next += 2;
            return "not in";
        }
        if (takeWord("is")) {
            return takeWord("not") ? "is not" : "is";
        }
        return "";
    }

    std::unique_ptr<Expression> comparison() {
        auto first = arithmetic();
        std::string op = comparisonOperator();
        if (op.empty()) {
            return first;
        }
        auto chain = make(Kind::COMPARE);
        chain->operands.push_back(std::move(first));
        while (!op.empty()) {
            chain->comparisons.push_back(op);
            chain->operands.push_back(arithmetic());
            op = comparisonOperator();
        }
        return chain;
    }

    std::unique_ptr<Expression> binary(const std::vector<std::string>& ops,
                                       std::unique_ptr<Expression> (Parser::*next)()) {
        auto left = (this->*next)();
        while (true) {
            std::string op;
            for (const std::string& candidate : ops) {
                if (takeOperator(candidate)) {
                    op = candidate;
                    break;
                }
            }
            if (op.empty()) {
                return left;
            }
            auto node = make(Kind::BINARY);
            node->name = op;
            node->operands.push_back(std::move(left));
            node->operands.push_back((this->*next)());
            left = std::move(node);
        }
    }

    std::unique_ptr<Expression> arithmetic() { return binary({"+", "-"}, &Parser::term); }

    std::unique_ptr<Expression> term() { return binary({"*", "//", "/", "%"}, &Parser::factor); }

    std::unique_ptr<Expression> factor() {
        for (const char* op : {"-", "+"}) {
            if (takeOperator(op)) {
                auto node = make(Kind::UNARY);
                node->name = op;
                node->operands.push_back(factor());
                return node;
            }
        }
        return power();
    }

    std::unique_ptr<Expression> power() {
        auto base = primary();
        if (!takeOperator("**")) {
            return base;
        }
        auto node = make(Kind::BINARY);
        node->name = "**";
        node->operands.push_back(std::move(base));
        node->operands.push_back(factor());
        return node;
    }

    std::unique_ptr<Expression> primary() {
        auto value = atom();
        while (true) {
            if (takeOperator(".")) {
                const Token& name = take();
                if (name.type != Token::Type::NAME) {
                    refuse("expected a field name after '.', found " + describe(name));
                }
                if (name.text[0] == '_') {
                    refuse("names starting with '_' (" + name.text + ") are not supported");
                }
                if (peek().type == Token::Type::OPERATOR && peek().text == "(") {
                    if (!isPythonMethod(name.text)) {
                        refuse("the method '" + name.text + "' is not supported");
                    }
                    auto call = make(Kind::METHOD);
                    call->name = name.text;
                    call->operands.push_back(std::move(value));
                    arguments(*call);
                    value = std::move(call);
                } else {
                    auto attribute = make(Kind::ATTRIBUTE);
                    attribute->name = name.text;
                    attribute->operands.push_back(std::move(value));
                    value = std::move(attribute);
                }
            } else if (takeOperator("[")) {
                auto subscript = make(Kind::SUBSCRIPT);
                subscript->operands.push_back(std::move(value));
                subscript->operands.push_back(orTest());
                if (peek().type == Token::Type::OPERATOR && peek().text == ":") {
                    refuse("slices are not supported");
                }
                expectOperator("]");
                value = std::move(subscript);
            } else if (peek().type == Token::Type::OPERATOR && peek().text == "(") {
                refuse("only the builtins " + builtinList() + " can be called");
            } else {
                return value;
            }
        }
    }

    static std::string builtinList() {
        std::string list;
        for (const std::string& name : pythonBuiltins()) {
            list += (list.empty() ? "" : ", ") + name;
        }
        return list;
    }

    // "(a, b)" after a call's name, into `call`'s operands.
    void arguments(Expression& call) {
        expectOperator("(");
        if (takeOperator(")")) {
            return;
        }
        while (true) {
            if (peek().type == Token::Type::NAME &&
                m_tokens[m_next + 1].type == Token::Type::OPERATOR &&
                m_tokens[m_next + 1].text == "=") {
                refuse("keyword arguments are not supported");
            }
            if (peek().type == Token::Type::OPERATOR &&
                (peek().text == "*" || peek().text == "**")) {
                refuse("unpacking arguments is not supported");
            }
            call.operands.push_back(orTest());
            if (takeOperator(")")) {
                return;
            }
            expectOperator(",");
            if (takeOperator(")")) {
                return;
            }
        }
    }

    std::unique_ptr<Expression> sequence(bool list) {
        auto node = make(Kind::SEQUENCE);
        node->list = list;
        const std::string close = list ? "]" : ")";
        if (takeOperator(close)) {
            return node;
        }
        node->operands.push_back(orTest());
        bool comma = false;
        while (!takeOperator(close)) {
            expectOperator(",");
            comma = true;
            if (takeOperator(close)) {
                break;
            }
            node->operands.push_back(orTest());
        }
        if (!list && !comma) {
            // Parentheses around one expression only group it.
            return std::move(node->operands.front());
        }
        return node;
    }

    std::unique_ptr<Expression> atom() {
        const Token& token = take();
        switch (token.type) {
            case Token::Type::NUMBER: {
                auto literal = make(Kind::LITERAL);
                literal->literal = token.value;
                return literal;
            }
            case Token::Type::STRING: {
                auto literal = make(Kind::LITERAL);
                literal->literal = token.value;
                // Adjacent literals are one, as in Python.
                while (peek().type == Token::Type::STRING) {
                    const PythonValue& next = take().value;
                    auto* text = std::get_if<std::string>(&literal->literal.value);
                    auto* bytes = std::get_if<PythonBytes>(&literal->literal.value);
                    if (text != nullptr && std::holds_alternative<std::string>(next.value)) {
                        *text += std::get<std::string>(next.value);
                    } else if (bytes != nullptr &&
                               std::holds_alternative<PythonBytes>(next.value)) {
                        bytes->bytes += std::get<PythonBytes>(next.value).bytes;
                    } else {
                        refuse("cannot mix bytes and nonbytes literals");
                    }
                }
                return literal;
            }
            case Token::Type::NAME:
                return named(token);
            case Token::Type::OPERATOR:
                if (token.text == "(") {
                    return sequence(false);
                }
                if (token.text == "[") {
                    return sequence(true);
                }
                refuse("unexpected '" + token.text + "' at column " + std::to_string(token.column) +
                       (token.text == "{" ? " (dictionaries and sets are not supported)" : ""));
            case Token::Type::END:
                break;
        }
        refuse("the expression ends too early");
    }

    std::unique_ptr<Expression> named(const Token& token) {
        const std::string& name = token.text;
        if (name == "m") {
            return make(Kind::MESSAGE);
        }
        if (name == "True" || name == "False" || name == "None") {
            auto literal = make(Kind::LITERAL);
            literal->literal =
                name == "None" ? PythonValue{PythonNone{}} : PythonValue{name == "True"};
            return literal;
        }
        if (isPythonBuiltin(name)) {
            if (peek().type != Token::Type::OPERATOR || peek().text != "(") {
                refuse("the builtin '" + name + "' can only be called");
            }
            auto call = make(Kind::CALL);
            call->name = name;
            arguments(*call);
            return call;
        }
        static const char* const kKeywords[] = {"lambda", "if",    "else",  "for",   "await",
                                                "yield",  "async", "while", "import"};
        for (const char* keyword : kKeywords) {
            if (name == keyword) {
                refuse("'" + name + "' is not supported");
            }
        }
        refuse("name '" + name + "' is not defined");
    }

    std::string m_option;
    std::string m_text;
    std::vector<Token> m_tokens;
    std::size_t m_next = 0;
};

using Value = PythonValue;

Value evaluate(const Expression& expression, const Value& message) {
    const auto operand = [&](std::size_t index) {
        return evaluate(*expression.operands[index], message);
    };
    switch (expression.kind) {
        case Kind::LITERAL:
            return expression.literal;
        case Kind::MESSAGE:
            return message;
        case Kind::ATTRIBUTE:
            return pythonGetAttribute(operand(0), expression.name);
        case Kind::SUBSCRIPT:
            return pythonItem(operand(0), operand(1));
        case Kind::CALL:
        case Kind::METHOD: {
            std::vector<Value> arguments;
            const std::size_t first = expression.kind == Kind::METHOD ? 1 : 0;
            for (std::size_t i = first; i < expression.operands.size(); ++i) {
                arguments.push_back(operand(i));
            }
            return expression.kind == Kind::CALL
                       ? pythonCallBuiltin(expression.name, arguments)
                       : pythonCallMethod(expression.name, operand(0), arguments);
        }
        case Kind::UNARY:
            return pythonUnary(expression.name, operand(0));
        case Kind::BINARY:
            return pythonArithmetic(expression.name, operand(0), operand(1));
        case Kind::AND:
        case Kind::OR: {
            // Python gives the first operand that decides, or the last.
            Value value;
            for (std::size_t i = 0; i < expression.operands.size(); ++i) {
                value = operand(i);
                if (pythonTruth(value) == (expression.kind == Kind::OR)) {
                    break;
                }
            }
            return value;
        }
        case Kind::NOT:
            return Value{!pythonTruth(operand(0))};
        case Kind::COMPARE: {
            Value left = operand(0);
            for (std::size_t i = 0; i < expression.comparisons.size(); ++i) {
                Value right = operand(i + 1);
                if (!pythonCompare(expression.comparisons[i], left, right)) {
                    return Value{false};
                }
                left = std::move(right);
            }
            return Value{true};
        }
        case Kind::SEQUENCE: {
            PythonTuple tuple;
            tuple.list = expression.list;
            for (std::size_t i = 0; i < expression.operands.size(); ++i) {
                tuple.items.push_back(operand(i));
            }
            return Value{std::move(tuple)};
        }
    }
    return Value{};
}

}  // namespace

MessageFilter::MessageFilter(const std::string& option, const std::string& expression)
    : m_option(option), m_text(expression), m_root(Parser(option, expression).parse()) {}

MessageFilter::~MessageFilter() = default;

bool MessageFilter::matches(const PythonValue& message) const {
    try {
        return pythonTruth(evaluate(*m_root, message));
    } catch (const PythonError& error) {
        throw std::runtime_error("the expression of " + m_option +
                                 " failed on a message: " + error.type + ": " + error.message);
    }
}

void MessageFilter::check(const PythonValue& prototype) const {
    try {
        pythonTruth(evaluate(*m_root, prototype));
    } catch (const PythonError& error) {
        if (error.type == "AttributeError" || error.type == "TypeError") {
            throw UsageError("argument " + m_option + ": cannot evaluate '" + m_text +
                             "': " + error.type + ": " + error.message);
        }
    }
}

}  // namespace qorCli
