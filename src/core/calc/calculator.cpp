// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/calculator.h"

#include "core/calc/calc_error.h"
#include "core/calc/tokenizer.h"
#include "core/calc/unit_catalog.h"

#include <cmath>

namespace zemvar::core {

namespace {

using Case = CalcError::Case;

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
    throw CalcError(Case::incompatibleUnits);
}

CalcValue multiply(const CalcValue& lhs, const CalcValue& rhs) {
    if (lhs.isMeasurement() && rhs.isMeasurement()) {
        throw CalcError(Case::incompatibleUnits); // no derived units
    }
    const double product = lhs.value() * rhs.value();
    return lhs.isMeasurement() ? lhs.withValue(product) : rhs.withValue(product);
}

CalcValue divide(const CalcValue& lhs, const CalcValue& rhs) {
    if (!lhs.isMeasurement()) {
        if (rhs.isMeasurement()) {
            throw CalcError(Case::incompatibleUnits);
        }
        if (rhs.value() == 0) {
            throw CalcError(Case::divisionByZero);
        }
        return CalcValue::number(lhs.value() / rhs.value());
    }
    if (rhs.isMeasurement()) {
        if (!sameDimension(*lhs.unit(), *rhs.unit())) {
            throw CalcError(Case::incompatibleUnits);
        }
        const double right = convertValue(rhs.value(), *rhs.unit(), *lhs.unit());
        if (right == 0) {
            throw CalcError(Case::divisionByZero);
        }
        return CalcValue::number(lhs.value() / right);
    }
    if (rhs.value() == 0) {
        throw CalcError(Case::divisionByZero);
    }
    // Multiplying by the reciprocal rather than dividing is deliberate: results agree to the
    // last bit with the established behaviour of quantity division.
    return lhs.withValue(lhs.value() * (1 / rhs.value()));
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
            throw CalcError(Case::incompatibleUnits);
        }
        return Operand::fromValue(CalcValue::number(std::pow(l.value(), r.value())));
    default:
        throw CalcError(Case::unexpectedToken, std::string(1, op));
    }
}

Operand negate(const Operand& operand) {
    if (operand.isPercent) {
        return Operand::fromPercent(-operand.percent);
    }
    return Operand::fromValue(operand.value.withValue(-operand.value.value()));
}

CalcValue convert(const CalcValue& value, std::string_view name) {
    const Unit* target = UnitCatalog::unit(name);
    if (target == nullptr) {
        throw CalcError(Case::unknownUnit, std::string(name));
    }
    if (!value.isMeasurement() || !sameDimension(*value.unit(), *target)) {
        throw CalcError(Case::incompatibleUnits);
    }
    return CalcValue::measurement(convertValue(value.value(), *value.unit(), *target), *target);
}

CalcValue applyFunction(std::string_view name, const CalcValue& argument) {
    if (argument.isMeasurement()) {
        throw CalcError(Case::incompatibleUnits);
    }
    const double x = argument.value();
    if (name == "sqrt") {
        // A negative root reuses the unit error on purpose; NaN fails the test too.
        if (!(x >= 0)) {
            throw CalcError(Case::incompatibleUnits);
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
    throw CalcError(Case::unknownIdentifier, std::string(name));
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
class Parser {
public:
    Parser(const std::vector<Token>& tokens, const Variables& variables)
        : m_tokens(tokens)
        , m_variables(variables) {}

    CalcValue parseTopLevel() {
        if (m_tokens.empty()) {
            throw CalcError(Case::unexpectedEnd);
        }
        Operand operand = parseExpression(0);
        if (const Token* next = peek();
            next != nullptr && next->kind == Token::Kind::identifier &&
            Calculator::conversionKeywords().contains(next->identifier)) {
            ++m_position;
            const CalcValue value = operand.resolved();
            const std::string& name = expectUnitName();
            operand = Operand::fromValue(convert(value, name));
        }
        if (const Token* next = peek(); next != nullptr) {
            throw CalcError(Case::unexpectedToken, tokenText(*next));
        }
        return operand.resolved();
    }

private:
    const Token* peek() const {
        return m_position < m_tokens.size() ? &m_tokens[m_position] : nullptr;
    }

    bool nextIs(Token::Kind kind) const {
        const Token* next = peek();
        return next != nullptr && next->kind == kind;
    }

    // Every recursion of the grammar passes through parseExpression, so bounding its depth
    // bounds the stack.
    class NestingGuard {
    public:
        explicit NestingGuard(Parser& parser)
            : m_parser(parser) {
            if (++m_parser.m_depth > Calculator::maxNesting) {
                const Token* next = m_parser.peek();
                if (next == nullptr) {
                    throw CalcError(Case::unexpectedEnd);
                }
                throw CalcError(Case::unexpectedToken, tokenText(*next));
            }
        }
        ~NestingGuard() { --m_parser.m_depth; }
        NestingGuard(const NestingGuard&) = delete;
        NestingGuard& operator=(const NestingGuard&) = delete;

    private:
        Parser& m_parser;
    };

    Operand parseExpression(int minPrecedence) {
        const NestingGuard guard(*this);
        Operand left = parseUnary();
        while (nextIs(Token::Kind::op)) {
            const char op = m_tokens[m_position].op;
            const int p = precedence(op);
            if (p < minPrecedence) {
                break;
            }
            ++m_position;
            const Operand right = parseExpression(op == '^' ? 3 : p + 1);
            left = apply(op, left, right);
        }
        return left;
    }

    Operand parseUnary() {
        // A run of "+" signs changes nothing; skipping it in a loop keeps "++++…5" off the stack.
        while (nextIs(Token::Kind::op) && m_tokens[m_position].op == '+') {
            ++m_position;
        }
        if (nextIs(Token::Kind::op) && m_tokens[m_position].op == '-') {
            ++m_position;
            // Binds tighter than "*" and looser than "^": -2^2 is -4, 2^-1 is 0.5.
            return negate(parseExpression(3));
        }
        return parsePostfix(parsePrimary());
    }

    Operand parsePrimary() {
        const Token* token = peek();
        if (token == nullptr) {
            throw CalcError(Case::unexpectedEnd);
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
            expectRightParen();
            return inner; // a parenthesised percent stays a percent
        }
        case Token::Kind::op:
        case Token::Kind::percent:
        case Token::Kind::rightParen:
            throw CalcError(Case::unexpectedToken, tokenText(*token));
        }
        throw CalcError(Case::unexpectedToken, tokenText(*token));
    }

    Operand identifierValue(const std::string& name) {
        if (Calculator::functions().contains(name)) {
            if (!nextIs(Token::Kind::leftParen)) {
                throw CalcError(Case::unexpectedToken, name);
            }
            ++m_position;
            const Operand argument = parseExpression(0);
            expectRightParen();
            return Operand::fromValue(applyFunction(name, argument.resolved()));
        }
        if (const auto variable = m_variables.find(name); variable != m_variables.end()) {
            return Operand::fromValue(variable->second);
        }
        const auto& constants = Calculator::constants();
        if (const auto constant = constants.find(name); constant != constants.end()) {
            return Operand::fromValue(CalcValue::number(constant->second));
        }
        throw CalcError(Case::unknownIdentifier, name);
    }

    void expectRightParen() {
        const Token* token = peek();
        if (token == nullptr) {
            throw CalcError(Case::unexpectedEnd);
        }
        if (token->kind != Token::Kind::rightParen) {
            throw CalcError(Case::unexpectedToken, tokenText(*token));
        }
        ++m_position;
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
                throw CalcError(Case::unexpectedToken, token->identifier); // "3 km m"
            }
            return Operand::fromValue(CalcValue::measurement(operand.value.value(), *unit));
        }
        if (token->kind == Token::Kind::percent) {
            ++m_position;
            if (operand.isPercent || operand.value.isMeasurement()) {
                throw CalcError(Case::unexpectedToken, "%");
            }
            const double n = operand.value.value();
            if (const Token* next = peek(); next != nullptr &&
                                            next->kind == Token::Kind::identifier &&
                                            next->identifier == "of") {
                ++m_position;
                // "of" takes the whole remaining sum: 20% of 50 + 10 is 12.
                const CalcValue base = parseExpression(1).resolved();
                return Operand::fromValue(base.withValue(n / 100 * base.value()));
            }
            return Operand::fromPercent(n);
        }
        return operand;
    }

    const std::string& expectUnitName() {
        const Token* token = peek();
        if (token == nullptr) {
            throw CalcError(Case::unexpectedEnd);
        }
        if (token->kind != Token::Kind::identifier) {
            throw CalcError(Case::unexpectedToken, tokenText(*token));
        }
        ++m_position;
        return token->identifier; // checked by convert
    }

    const std::vector<Token>& m_tokens;
    const Variables& m_variables;
    std::size_t m_position = 0;
    int m_depth = 0;
};

} // namespace

CalcValue Calculator::evaluate(std::string_view text) const {
    std::vector<Token> tokens;
    return evaluate(text, tokens);
}

CalcValue Calculator::evaluate(std::string_view text, std::vector<Token>& scratch) const {
    scratch.clear();
    Tokenizer::tokenize(text, m_separator, scratch);
    return evaluateTokens(scratch);
}

CalcValue Calculator::evaluateTokens(const std::vector<Token>& tokens) const {
    return Parser(tokens, *m_variables).parseTopLevel();
}

const std::unordered_set<std::string_view>& Calculator::functions() {
    static const std::unordered_set<std::string_view> names = {"sqrt", "abs", "round", "floor",
                                                               "ceil"};
    return names;
}

const std::unordered_map<std::string_view, double>& Calculator::constants() {
    static const std::unordered_map<std::string_view, double> values = {
        {"pi", 3.141592653589793},
        {"e", 2.718281828459045},
    };
    return values;
}

const std::unordered_set<std::string_view>& Calculator::conversionKeywords() {
    static const std::unordered_set<std::string_view> words = {"in", "to", "as"};
    return words;
}

} // namespace zemvar::core
