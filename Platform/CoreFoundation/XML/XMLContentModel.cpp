#include "XMLContentModel.h"

#include <vector>

namespace KXPlatform {
namespace {

const char* quantifier(XML_Content_Quant quant) noexcept {
    switch (quant) {
        case XML_CQUANT_OPT:
            return "?";
        case XML_CQUANT_REP:
            return "*";
        case XML_CQUANT_PLUS:
            return "+";
        default:
            return "";
    }
}

}  // namespace

std::string describe(const XML_Content& model) {
    if (model.type == XML_CTYPE_EMPTY) return "EMPTY";
    if (model.type == XML_CTYPE_ANY) return "ANY";
    struct Group {
        const XML_Content* content;
        unsigned next;
    };
    std::string text;
    std::vector<Group> open;
    const auto begin = [&](const XML_Content& content) {
        if (content.type == XML_CTYPE_NAME) {
            text.append(content.name).append(quantifier(content.quant));
            return;
        }
        text += content.type == XML_CTYPE_MIXED ? "(#PCDATA" : "(";
        open.push_back({&content, 0});
    };
    begin(model);
    while (!open.empty()) {
        Group& group = open.back();
        const XML_Content& content = *group.content;
        if (group.next == content.numchildren) {
            text.append(")").append(quantifier(content.quant));
            open.pop_back();
            continue;
        }
        if (group.next != 0 || content.type == XML_CTYPE_MIXED) text += content.type == XML_CTYPE_SEQ ? "," : "|";
        begin(content.children[group.next++]);
    }
    return text;
}

}  // namespace KXPlatform
