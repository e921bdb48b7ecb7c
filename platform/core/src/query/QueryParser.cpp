// The query language: comparisons of attributes and system fields joined by
// and, or, not and parentheses; `in (...)`, `like` with * and ? wildcards,
// `isa` for a definition and those derived from it; quoted strings, numbers,
// true and false.

#include <cctype>
#include <cstdlib>

#include <vqkudmrt/UDMException.h>

#include "QueryTree.h"

namespace vqkudm::query {

namespace {

struct Token {
  enum Kind { End, Identifier, String, Number, Symbol } kind = End;
  vqString text;  // as written, for messages
  vqString value; // strings unquoted
  std::size_t position = 0;  // 1-based character position in the query
};

class Lexer {
 public:
  explicit Lexer(const vqString& text) : m_text(text) {}

  Token Next() {
    while (m_at < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_at]))) ++m_at;
    Token token;
    token.position = m_at + 1;
    if (m_at >= m_text.size()) return token;
    const char c = m_text[m_at];
    if (c == '\'' || c == '"') return QuotedString(token, c);
    if (std::isdigit(static_cast<unsigned char>(c)) ||
        ((c == '-' || c == '+' || c == '.') && m_at + 1 < m_text.size() &&
         (std::isdigit(static_cast<unsigned char>(m_text[m_at + 1])) || m_text[m_at + 1] == '.'))) {
      return NumberToken(token);
    }
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      const std::size_t start = m_at;
      while (m_at < m_text.size() &&
             (std::isalnum(static_cast<unsigned char>(m_text[m_at])) || m_text[m_at] == '_')) {
        ++m_at;
      }
      token.kind = Token::Identifier;
      token.text = token.value = m_text.substr(start, m_at - start);
      return token;
    }
    for (const char* symbol : {"<=", ">=", "<>", "!=", "=", "<", ">", "(", ")", ","}) {
      const std::size_t length = std::char_traits<char>::length(symbol);
      if (m_text.compare(m_at, length, symbol) == 0) {
        m_at += length;
        token.kind = Token::Symbol;
        token.text = token.value = symbol;
        return token;
      }
    }
    Fail(token.position, vqString(1, c), "this character has no meaning here");
  }

  [[noreturn]] void Fail(std::size_t position, const vqString& token, const vqString& why) const {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "syntax error in query \"" + m_text + "\" at position " +
                                 vqString::FromInt(static_cast<int>(position)) +
                                 (token.empty() ? vqString(" (end of query)") : " near \"" + token + "\"") + ": " + why,
                             ExcSubSyntax);
  }

 private:
  Token QuotedString(Token& token, char quote) {
    const std::size_t start = m_at++;
    for (;;) {
      if (m_at >= m_text.size()) Fail(token.position, m_text.substr(start), "the string is not closed");
      if (m_text[m_at] == quote) {
        // A doubled quote stands for the quote itself.
        if (m_at + 1 < m_text.size() && m_text[m_at + 1] == quote) {
          token.value += quote;
          m_at += 2;
          continue;
        }
        ++m_at;
        break;
      }
      token.value += m_text[m_at++];
    }
    token.kind = Token::String;
    token.text = m_text.substr(start, m_at - start);
    return token;
  }

  Token NumberToken(Token& token) {
    const std::size_t start = m_at;
    if (m_text[m_at] == '-' || m_text[m_at] == '+') ++m_at;
    while (m_at < m_text.size() && (std::isalnum(static_cast<unsigned char>(m_text[m_at])) || m_text[m_at] == '.' ||
                                    ((m_text[m_at] == '-' || m_text[m_at] == '+') &&
                                     (m_text[m_at - 1] == 'e' || m_text[m_at - 1] == 'E')))) {
      ++m_at;
    }
    token.kind = Token::Number;
    token.text = token.value = m_text.substr(start, m_at - start);
    double number = 0;
    if (!token.value.ToDouble(number)) Fail(token.position, token.text, "this is not a number");
    return token;
  }

  const vqString& m_text;
  std::size_t m_at = 0;
};

class Parser {
 public:
  explicit Parser(const vqString& text) : m_lexer(text) { Advance(); }

  NodePtr Query() {
    NodePtr node = OrExpression();
    if (m_token.kind != Token::End) Fail("expected \"and\", \"or\" or the end of the query");
    return node;
  }

 private:
  void Advance() { m_token = m_lexer.Next(); }
  bool IsKeyword(const char* word) const {
    return m_token.kind == Token::Identifier && m_token.value.EqualsNoCase(word);
  }
  bool IsSymbol(const char* symbol) const { return m_token.kind == Token::Symbol && m_token.value == symbol; }
  [[noreturn]] void Fail(const vqString& why) const { m_lexer.Fail(m_token.position, m_token.text, why); }

  NodePtr OrExpression() {
    NodePtr node = AndExpression();
    while (IsKeyword("or")) {
      Advance();
      node = MakeOr(node, AndExpression());
    }
    return node;
  }

  NodePtr AndExpression() {
    NodePtr node = NotExpression();
    while (IsKeyword("and")) {
      Advance();
      node = MakeAnd(node, NotExpression());
    }
    return node;
  }

  NodePtr NotExpression() {
    if (IsKeyword("not")) {
      Advance();
      return MakeNot(NotExpression());
    }
    if (IsSymbol("(")) {
      Advance();
      NodePtr inner = OrExpression();
      if (!IsSymbol(")")) Fail("expected \")\"");
      Advance();
      return inner;
    }
    return Comparison();
  }

  vqVariant Literal() {
    vqVariant value;
    if (m_token.kind == Token::String) {
      value = vqVariant(m_token.value);
    } else if (m_token.kind == Token::Number) {
      double number = 0;
      m_token.value.ToDouble(number);
      value = vqVariant(number);
    } else if (IsKeyword("true") || IsKeyword("false")) {
      value = vqVariant(IsKeyword("true") ? 1.0 : 0.0);
    } else {
      Fail("expected a quoted string, a number, true or false");
    }
    Advance();
    return value;
  }

  NodePtr Comparison() {
    if (m_token.kind != Token::Identifier || IsKeyword("and") || IsKeyword("or")) {
      Fail("expected an attribute or field name");
    }
    const vqString name = m_token.value;
    const Token nameToken = m_token;
    const Field field = FieldOf(name);
    Advance();
    Op op = Op::Equal;
    std::vector<vqVariant> values;
    if (IsKeyword("in")) {
      op = Op::In;
      Advance();
      if (!IsSymbol("(")) Fail("expected \"(\" after \"in\"");
      Advance();
      values.push_back(Literal());
      while (IsSymbol(",")) {
        Advance();
        values.push_back(Literal());
      }
      if (!IsSymbol(")")) Fail("expected \",\" or \")\"");
      Advance();
    } else if (IsKeyword("like") || IsKeyword("isa")) {
      op = IsKeyword("like") ? Op::Like : Op::IsA;
      Advance();
      if (m_token.kind != Token::String) Fail("expected a quoted string");
      values.push_back(Literal());
    } else {
      static const std::pair<const char*, Op> symbols[] = {
          {"=", Op::Equal}, {"!=", Op::NotEqual}, {"<>", Op::NotEqual}, {"<", Op::Less},
          {"<=", Op::LessEqual}, {">", Op::Greater}, {">=", Op::GreaterEqual}};
      bool found = false;
      for (const auto& [symbol, which] : symbols) {
        if (IsSymbol(symbol)) {
          op = which;
          found = true;
        }
      }
      if (!found) Fail("expected a comparison (=, !=, <>, <, <=, >, >=, in, like, isa)");
      Advance();
      values.push_back(Literal());
    }
    if (op == Op::IsA && field != Field::Cdef && field != Field::Class) {
      m_lexer.Fail(nameToken.position, nameToken.text, "\"isa\" compares the definition (cdef) only");
    }
    if (field != Field::Attribute) {
      for (const vqVariant& value : values) {
        if ((value.GetDouble() != nullptr) != IsNumericField(field)) {
          m_lexer.Fail(nameToken.position, nameToken.text,
                       vqString("the field ") + FieldName(field) + " takes " +
                           (IsNumericField(field) ? "numbers" : "quoted strings"));
        }
      }
    }
    return MakeCompare(field, field == Field::Attribute ? name : vqString(), op, std::move(values));
  }

  Lexer m_lexer;
  Token m_token;
};

}  // namespace

NodePtr Parse(const vqString& text) {
  bool blank = true;
  for (char c : text) blank = blank && std::isspace(static_cast<unsigned char>(c));
  if (blank) return NodePtr();
  return Parser(text).Query();
}

}  // namespace vqkudm::query
