#include <boost/spirit/home/x3.hpp>
#include <cstring>

#include "Peers.h"

namespace {

namespace x3 = boost::spirit::x3;

struct Names : x3::symbols<std::uint64_t> {
    Names() { add("read", 0x1)("write", 0x2)("execute", 0x4)("readattr", 0x8); }
} const names;

const auto set = [](auto& context) { _val(context) = _attr(context); };
const auto unite = [](auto& context) { _val(context) |= _attr(context); };
const auto differ = [](auto& context) { _val(context) ^= _attr(context); };
const auto intersect = [](auto& context) { _val(context) &= _attr(context); };
const auto negate = [](auto& context) { _val(context) = 0 - _attr(context); };
const auto complement = [](auto& context) { _val(context) = ~_attr(context); };

const x3::rule<class Union_, std::uint64_t> unionOf = "union";
const x3::rule<class Bar_, std::uint64_t> bar = "bar";
const x3::rule<class Caret_, std::uint64_t> caret = "caret";
const x3::rule<class And_, std::uint64_t> both = "and";
const x3::rule<class Prefix_, std::uint64_t> prefix = "prefix";
const x3::rule<class Number_, std::uint64_t> number = "number";

const x3::uint_parser<std::uint64_t, 8> octal{};
const x3::uint_parser<std::uint64_t, 10> decimal{};
const x3::uint_parser<std::uint64_t, 16> hexadecimal{};

const auto number_def = x3::lexeme[(x3::no_case["0x"] >> hexadecimal) | (x3::lit('0') >> octal) | decimal];
const auto unionOf_def = bar[set] >> *(',' >> bar[unite]);
const auto bar_def = caret[set] >> *('|' >> caret[unite]);
const auto caret_def = both[set] >> *('^' >> both[differ]);
const auto both_def = prefix[set] >> *('&' >> prefix[intersect]);
const auto prefix_def = number[set] | x3::no_case[names][set] | ('(' >> unionOf[set] >> ')') | ('-' >> prefix[negate]) |
                        ('~' >> prefix[complement]);

BOOST_SPIRIT_DEFINE(unionOf, bar, caret, both, prefix, number)

}  // namespace

int EvalBySpirit(std::uint64_t* result, const char* text) {
    const char* at = text;
    const char* const end = text + std::strlen(text);
    return x3::phrase_parse(at, end, unionOf, x3::char_(" \t\n"), *result) && at == end ? 0 : 1;
}
