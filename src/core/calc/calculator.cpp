// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/calculator.h"

#include "core/calc/tokenizer.h"
#include "core/calc/unit_catalog.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace zemvar::core {

namespace {

using Case = CalcError::Case;

// The tables are tiny, so a linear scan beats hashing the name.
constexpr std::array<std::string_view, 5> functionNames = {"sqrt", "abs", "round", "floor", "ceil"};
constexpr std::array<std::string_view, 3> keywordNames = {"in", "to", "as"};
constexpr std::array<std::pair<std::string_view, double>, 2> constantValues = {{
    {"pi", 3.141592653589793},
    {"e", 2.718281828459045},
}};

// An intermediate result: a value, or a number followed by "%" whose meaning the next
// operator decides (15% is kept as 15, not 0.15).
struct Operand {
    bool isPercent = false;
    double percent = 0;
    CalcValue value = CalcValue::number(0);

    static Operand fromValue(CalcValue v) { return Operand{false, 0, v}; }
    static Operand fromPercent(double p) { return Operand{true, p, CalcValue::number(0)}; }

    // A percent on its own is its hundredth.
    CalcValue resolved() const { return isPercent ? CalcValue::number(percent / 100) : value; }
};

bool sameDimension(const Unit& a, const Unit& b) {
    return a.dimension == b.dimension;
}

CalcValue scaled(const CalcValue& v, double factor) {
    return v.withValue(v.value() * factor);
}

int precedence(char op) {
    switch (op) {
    case '+':
    case '-':
        return 1;
    case '*':
    case '/':
        return 2;
    default:
        return 3; // '^'
    }
}

// One evaluation: the tokens, a position in them and the variables visible to the line.
//
// A failure is recorded rather than thrown and every step returns early once one is
// recorded: a note meets many failing lines (prose that looks like a calculation), and
// unwinding an exception costs more than evaluating a whole line.
class Parser {
public:
    Parser(const std::vector<Token>& tokens, const Variables& variables)
        : m_tokens(tokens)
        , m_variables(variables) {}

    CalcValue parseTopLevel() {
        if (m_tokens.empty()) {
            return failValue(Case::unexpectedEnd);
        }
        Operand operand = parseExpression(0);
        if (failed()) {
            return failedValue();
        }
        if (const Token* next = peek(); next != nullptr && next->kind == Token::Kind::identifier &&
                                        Calculator::isConversionKeyword(next->identifier)) {
            ++m_position;
            const CalcValue value = operand.resolved();
            const std::string* name = expectUnitName();
            if (failed()) {
                return failedValue();
            }
            operand = Operand::fromValue(convert(value, *name));
            if (failed()) {
                return failedValue();
            }
        }
        if (const Token* next = peek(); next != nullptr) {
            return failValue(Case::unexpectedToken, tokenText(*next));
        }
        return operand.resolved();
    }

    std::optional<CalcError>& error() { return m_error; }

private:
    bool failed() const { return m_error.has_value(); }

    Operand fail(Case errorCase, std::string payload = {}) {
        if (!m_error) {
            m_error.emplace(errorCase, std::move(payload));
        }
        return {};
    }

    CalcValue failValue(Case errorCase, std::string payload = {}) {
        fail(errorCase, std::move(payload));
        return failedValue();
    }

    // What a step returns once a failure is recorded; nobody looks at it.
    static CalcValue failedValue() { return CalcValue::number(0); }

    const Token* peek() const {
        return m_position < m_tokens.size() ? &m_tokens[m_position] : nullptr;
    }

    bool nextIs(Token::Kind kind) const {
        const Token* next = peek();
        return next != nullptr && next->kind == kind;
    }

    bool nextIsOp(char op) const {
        return nextIs(Token::Kind::op) && m_tokens[m_position].op == op;
    }

    // Every recursion of the grammar passes through parseExpression, so bounding its depth
    // bounds the stack.
    struct DepthGuard {
        explicit DepthGuard(int& depth)
            : m_depth(depth) {
            ++m_depth;
        }
        ~DepthGuard() { --m_depth; }
        DepthGuard(const DepthGuard&) = delete;
        DepthGuard& operator=(const DepthGuard&) = delete;
        int& m_depth;
    };

    Operand parseExpression(int minPrecedence) {
        const DepthGuard guard(m_depth);
        if (m_depth > Calculator::maxNesting) {
            const Token* next = peek();
            return next == nullptr ? fail(Case::unexpectedEnd)
                                   : fail(Case::unexpectedToken, tokenText(*next));
        }
        Operand left = parseUnary();
        while (!failed() && nextIs(Token::Kind::op)) {
            const char op = m_tokens[m_position].op;
            const int p = precedence(op);
            if (p < minPrecedence) {
                break;
            }
            ++m_position;
            const Operand right = parseExpression(op == '^' ? 3 : p + 1);
            if (failed()) {
                break;
            }
            left = apply(op, left, right);
        }
        return left;
    }

    Operand parseUnary() {
        // A run of "+" signs changes nothing; skipping it in a loop keeps "++++…5" off the stack.
        while (nextIsOp('+')) {
            ++m_position;
        }
        if (nextIsOp('-')) {
            ++m_position;
            // Binds tighter than "*" and looser than "^": -2^2 is -4, 2^-1 is 0.5.
            const Operand operand = parseExpression(3);
            return failed() ? Operand{} : negate(operand);
        }
        const Operand primary = parsePrimary();
        return failed() ? Operand{} : parsePostfix(primary);
    }

    Operand parsePrimary() {
        const Token* token = peek();
        if (token == nullptr) {
            return fail(Case::unexpectedEnd);
        }
        switch (token->kind) {
        case Token::Kind::number:
            ++m_position;
            return Operand::fromValue(CalcValue::number(token->number));
        case Token::Kind::identifier:
            ++m_position;
            return identifierValue(token->identifier);
        case Token::Kind::leftParen: {
            ++m_position;
            const Operand inner = parseExpression(0);
            if (failed() || !expectRightParen()) {
                return {};
            }
            return inner; // a parenthesised percent stays a percent
        }
        case Token::Kind::op:
        case Token::Kind::percent:
        case Token::Kind::rightParen:
            break;
        }
        return fail(Case::unexpectedToken, tokenText(*token));
    }

    Operand identifierValue(const std::string& name) {
        if (Calculator::isFunction(name)) {
            if (!nextIs(Token::Kind::leftParen)) {
                return fail(Case::unexpectedToken, name);
            }
            ++m_position;
            const Operand argument = parseExpression(0);
            if (failed() || !expectRightParen()) {
                return {};
            }
            return Operand::fromValue(applyFunction(name, argument.resolved()));
        }
        if (const auto variable = m_variables.find(name); variable != m_variables.end()) {
            return Operand::fromValue(variable->second);
        }
        if (const std::optional<double> constant = Calculator::constant(name)) {
            return Operand::fromValue(CalcValue::number(*constant));
        }
        return fail(Case::unknownIdentifier, name);
    }

    bool expectRightParen() {
        const Token* token = peek();
        if (token == nullptr) {
            fail(Case::unexpectedEnd);
            return false;
        }
        if (token->kind != Token::Kind::rightParen) {
            fail(Case::unexpectedToken, tokenText(*token));
            return false;
        }
        ++m_position;
        return true;
    }

    Operand parsePostfix(const Operand& operand) {
        const Token* token = peek();
        if (token == nullptr) {
            return operand;
        }
        if (token->kind == Token::Kind::identifier) {
            const Unit* unit = UnitCatalog::unit(token->identifier);
            if (unit == nullptr) {
                return operand;
            }
            ++m_position;
            if (operand.isPercent || operand.value.isMeasurement()) {
                return fail(Case::unexpectedToken, token->identifier); // "3 km m"
            }
            return Operand::fromValue(CalcValue::measurement(operand.value.value(), *unit));
        }
        if (token->kind == Token::Kind::percent) {
            ++m_position;
            if (operand.isPercent || operand.value.isMeasurement()) {
                return fail(Case::unexpectedToken, "%");
            }
            const double n = operand.value.value();
            if (const Token* next = peek(); next != nullptr &&
                                            next->kind == Token::Kind::identifier &&
                                            next->identifier == "of") {
                ++m_position;
                // "of" takes the whole remaining sum: 20% of 50 + 10 is 12.
                const Operand whole = parseExpression(1);
                if (failed()) {
                    return {};
                }
                const CalcValue base = whole.resolved();
                return Operand::fromValue(base.withValue(n / 100 * base.value()));
            }
            return Operand::fromPercent(n);
        }
        return operand;
    }

    // Returns the unit name that follows a conversion keyword; the name is checked by convert.
    const std::string* expectUnitName() {
        const Token* token = peek();
        if (token == nullptr) {
            fail(Case::unexpectedEnd);
            return nullptr;
        }
        if (token->kind != Token::Kind::identifier) {
            fail(Case::unexpectedToken, tokenText(*token));
            return nullptr;
        }
        ++m_position;
        return &token->identifier;
    }

    Operand apply(char op, const Operand& lhs, const Operand& rhs) {
        if (!lhs.isPercent && rhs.isPercent) {
            const double p = rhs.percent;
            switch (op) {
            case '+':
                return Operand::fromValue(scaled(lhs.value, p / 100 + 1)); // 200 + 10% = 220
            case '-':
                return Operand::fromValue(scaled(lhs.value, p / -100 + 1)); // 200 - 10% = 180
            case '*':
                return Operand::fromValue(scaled(lhs.value, p / 100)); // 200 * 10% = 20
            default:
                break; // "/" and "^" use the percent as its hundredth
            }
        } else if (lhs.isPercent && !rhs.isPercent && op == '*') {
            return Operand::fromValue(scaled(rhs.value, lhs.percent / 100)); // 10% * 200 = 20
        }

        const CalcValue l = lhs.resolved();
        const CalcValue r = rhs.resolved();
        switch (op) {
        case '+':
        case '-':
            return Operand::fromValue(addOrSubtract(op, l, r));
        case '*':
            return Operand::fromValue(multiply(l, r));
        case '/':
            return Operand::fromValue(divide(l, r));
        case '^':
            if (l.isMeasurement() || r.isMeasurement()) {
                return fail(Case::incompatibleUnits);
            }
            return Operand::fromValue(CalcValue::number(std::pow(l.value(), r.value())));
        default:
            return fail(Case::unexpectedToken, std::string(1, op));
        }
    }

    CalcValue addOrSubtract(char op, const CalcValue& lhs, const CalcValue& rhs) {
        const auto combine = [op](double l, double r) {
            return op == '+' ? l + r : l - r;
        };
        if (!lhs.isMeasurement() && !rhs.isMeasurement()) {
            return CalcValue::number(combine(lhs.value(), rhs.value()));
        }
        if (lhs.isMeasurement() && rhs.isMeasurement() && sameDimension(*lhs.unit(), *rhs.unit())) {
            const double right = convertValue(rhs.value(), *rhs.unit(), *lhs.unit());
            return lhs.withValue(combine(lhs.value(), right));
        }
        return failValue(Case::incompatibleUnits);
    }

    CalcValue multiply(const CalcValue& lhs, const CalcValue& rhs) {
        if (lhs.isMeasurement() && rhs.isMeasurement()) {
            return failValue(Case::incompatibleUnits); // no derived units
        }
        const double product = lhs.value() * rhs.value();
        return lhs.isMeasurement() ? lhs.withValue(product) : rhs.withValue(product);
    }

    CalcValue divide(const CalcValue& lhs, const CalcValue& rhs) {
        if (!lhs.isMeasurement()) {
            if (rhs.isMeasurement()) {
                return failValue(Case::incompatibleUnits);
            }
            if (rhs.value() == 0) {
                return failValue(Case::divisionByZero);
            }
            return CalcValue::number(lhs.value() / rhs.value());
        }
        if (rhs.isMeasurement()) {
            if (!sameDimension(*lhs.unit(), *rhs.unit())) {
                return failValue(Case::incompatibleUnits);
            }
            const double right = convertValue(rhs.value(), *rhs.unit(), *lhs.unit());
            if (right == 0) {
                return failValue(Case::divisionByZero);
            }
            return CalcValue::number(lhs.value() / right);
        }
        if (rhs.value() == 0) {
            return failValue(Case::divisionByZero);
        }
        // Multiplying by the reciprocal rather than dividing is deliberate: results agree to
        // the last bit with the established behaviour of quantity division.
        return lhs.withValue(lhs.value() * (1 / rhs.value()));
    }

    static Operand negate(const Operand& operand) {
        if (operand.isPercent) {
            return Operand::fromPercent(-operand.percent);
        }
        return Operand::fromValue(operand.value.withValue(-operand.value.value()));
    }

    CalcValue convert(const CalcValue& value, const std::string& name) {
        const Unit* target = UnitCatalog::unit(name);
        if (target == nullptr) {
            return failValue(Case::unknownUnit, name);
        }
        if (!value.isMeasurement() || !sameDimension(*value.unit(), *target)) {
            return failValue(Case::incompatibleUnits); // "5 to km": a number has no unit
        }
        return CalcValue::measurement(convertValue(value.value(), *value.unit(), *target), *target);
    }

    CalcValue applyFunction(const std::string& name, const CalcValue& argument) {
        if (argument.isMeasurement()) {
            return failValue(Case::incompatibleUnits);
        }
        const double x = argument.value();
        if (name == "sqrt") {
            // A negative root reuses the unit error on purpose; NaN fails the test too.
            if (!(x >= 0)) {
                return failValue(Case::incompatibleUnits);
            }
            return CalcValue::number(std::sqrt(x));
        }
        if (name == "abs") {
            return CalcValue::number(std::fabs(x));
        }
        if (name == "round") {
            return CalcValue::number(std::round(x)); // halves away from zero
        }
        if (name == "floor") {
            return CalcValue::number(std::floor(x));
        }
        if (name == "ceil") {
            return CalcValue::number(std::ceil(x));
        }
        return failValue(Case::unknownIdentifier, name);
    }

    const std::vector<Token>& m_tokens;
    const Variables& m_variables;
    std::size_t m_position = 0;
    int m_depth = 0;
    std::optional<CalcError> m_error;
};

} // namespace

CalcValue Calculator::evaluate(std::string_view text) const {
    std::vector<Token> tokens;
    return evaluate(text, tokens);
}

CalcValue Calculator::evaluate(std::string_view text, std::vector<Token>& scratch) const {
    CalcResult result = tryEvaluate(text, scratch);
    if (CalcError* error = std::get_if<CalcError>(&result)) {
        throw std::move(*error);
    }
    return std::get<CalcValue>(result);
}

CalcValue Calculator::evaluateTokens(const std::vector<Token>& tokens) const {
    CalcResult result = tryEvaluateTokens(tokens);
    if (CalcError* error = std::get_if<CalcError>(&result)) {
        throw std::move(*error);
    }
    return std::get<CalcValue>(result);
}

CalcResult Calculator::tryEvaluate(std::string_view text, std::vector<Token>& scratch) const {
    scratch.clear();
    if (std::optional<CalcError> error = Tokenizer::tryTokenize(text, m_separator, scratch)) {
        return std::move(*error);
    }
    return tryEvaluateTokens(scratch);
}

CalcResult Calculator::tryEvaluateTokens(const std::vector<Token>& tokens) const {
    Parser parser(tokens, *m_variables);
    const CalcValue value = parser.parseTopLevel();
    if (std::optional<CalcError>& error = parser.error()) {
        return std::move(*error);
    }
    return value;
}

const std::unordered_set<std::string_view>& Calculator::functions() {
    static const std::unordered_set<std::string_view> names(functionNames.begin(),
                                                            functionNames.end());
    return names;
}

const std::unordered_map<std::string_view, double>& Calculator::constants() {
    static const std::unordered_map<std::string_view, double> values(constantValues.begin(),
                                                                     constantValues.end());
    return values;
}

const std::unordered_set<std::string_view>& Calculator::conversionKeywords() {
    static const std::unordered_set<std::string_view> words(keywordNames.begin(),
                                                            keywordNames.end());
    return words;
}

bool Calculator::isFunction(std::string_view name) {
    return std::find(functionNames.begin(), functionNames.end(), name) != functionNames.end();
}

bool Calculator::isConversionKeyword(std::string_view name) {
    return std::find(keywordNames.begin(), keywordNames.end(), name) != keywordNames.end();
}

std::optional<double> Calculator::constant(std::string_view name) {
    for (const auto& [constantName, value] : constantValues) {
        if (constantName == name) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace zemvar::core
