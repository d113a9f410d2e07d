#include "transxpathfunctions.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <vector>
#include <xalanc/DOMSupport/DOMServices.hpp>
#include <xalanc/PlatformSupport/XalanMessageLoader.hpp>
#include <xalanc/XPath/Function.hpp>
#include <xalanc/XPath/XObjectFactory.hpp>
#include <xalanc/XPath/XPathExecutionContext.hpp>

using xalanc::XalanDOMString;
using xalanc::XObjectPtr;
using xalanc::XPathExecutionContext;

namespace trans {

double xpathRound(double x) noexcept {
    if (! std::isfinite(x) || x == 0) {
        return x;
    }
    double rounded = std::floor(x);
    if (x - rounded >= 0.5) { // exact: the fraction of a double is a double
        rounded += 1;
    }
    return rounded == 0 && x < 0 ? -0.0 : rounded;
}

namespace {

// The characters of a text: code points, an unpaired surrogate counting as one.
std::vector<char32_t> characters(XalanDOMString const& text) {
    std::vector<char32_t> result;
    result.reserve(text.length());
    auto const length = static_cast<int32_t>(text.length());
    for (int32_t i = 0; i < length;) {
        char32_t c = 0;
        U16_NEXT(text.c_str(), i, length, c);
        result.push_back(c);
    }
    return result;
}

void appendCharacter(XalanDOMString& text, char32_t c) {
    if (U_IS_BMP(c)) {
        text.push_back(static_cast<char16_t>(c));
    } else {
        text.push_back(U16_LEAD(c));
        text.push_back(U16_TRAIL(c));
    }
}

XObjectPtr stringResult(XPathExecutionContext& context, std::vector<char32_t> const& text,
                        std::size_t begin, std::size_t end) {
    XPathExecutionContext::GetCachedString result(context);
    for (std::size_t i = begin; i < end; ++i) {
        appendCharacter(result.get(), text[i]);
    }
    return context.getXObjectFactory().createString(result);
}

// A function of the standing set; its wrong-arity message names it and what it takes.
template <typename Self>
class StandingFunction : public xalanc::Function {
public:
    Function* clone(xalanc::MemoryManager& memory) const override {
        return xalanc::XalanCopyConstruct(memory, static_cast<Self const&>(*this));
    }

protected:
    XalanDOMString const& getError(XalanDOMString& buffer) const override {
        buffer = Self::arityError;
        return buffer;
    }
};

class Round : public StandingFunction<Round> {
public:
    static constexpr char16_t const* arityError = u"The round() function takes one argument";
    using Function::execute;
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode*, XObjectPtr const arg,
                       xalanc::Locator const*) const override {
        return context.getXObjectFactory().createNumber(xpathRound(arg->num(context)));
    }
};

class StringLength : public StandingFunction<StringLength> {
public:
    static constexpr char16_t const* arityError =
        u"The string-length() function takes zero or one arguments";
    using Function::execute;
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode* node,
                       xalanc::Locator const*) const override {
        XPathExecutionContext::GetCachedString value(context);
        xalanc::DOMServices::getNodeData(*node, context, value.get());
        return length(context, value.get());
    }
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode*, XObjectPtr const arg,
                       xalanc::Locator const*) const override {
        return length(context, arg->str(context));
    }

private:
    static XObjectPtr length(XPathExecutionContext& context, XalanDOMString const& text) {
        auto const units = static_cast<int32_t>(text.length());
        return context.getXObjectFactory().createNumber(u_countChar32(text.c_str(), units));
    }
};

class Substring : public StandingFunction<Substring> {
public:
    static constexpr char16_t const* arityError =
        u"The substring() function takes two or three arguments";
    using Function::execute;
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode*, XObjectPtr const text,
                       XObjectPtr const start, xalanc::Locator const*) const override {
        return substring(context, text->str(context), xpathRound(start->num(context)), HUGE_VAL);
    }
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode*, XObjectPtr const text,
                       XObjectPtr const start, XObjectPtr const length,
                       xalanc::Locator const*) const override {
        double const first = xpathRound(start->num(context));
        return substring(context, text->str(context), first,
                         first + xpathRound(length->num(context)));
    }

private:
    // The characters at the positions p (counting from 1) with first <= p < end; comparisons
    // with NaN are false, so a NaN bound selects nothing.
    static XObjectPtr substring(XPathExecutionContext& context, XalanDOMString const& text,
                                double first, double end) {
        std::vector<char32_t> const all = characters(text);
        std::size_t begin = all.size();
        std::size_t stop = 0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            auto const position = static_cast<double>(i + 1);
            if (position >= first && position < end) {
                begin = std::min(begin, i);
                stop = i + 1;
            }
        }
        return stringResult(context, all, begin, std::max(begin, stop));
    }
};

class Translate : public StandingFunction<Translate> {
public:
    static constexpr char16_t const* arityError = u"The translate() function takes three arguments";
    using Function::execute;
    XObjectPtr execute(XPathExecutionContext& context, xalanc::XalanNode*, XObjectPtr const text,
                       XObjectPtr const from, XObjectPtr const to,
                       xalanc::Locator const*) const override {
        std::vector<char32_t> const source = characters(text->str(context));
        std::vector<char32_t> const fromCharacters = characters(from->str(context));
        std::vector<char32_t> const toCharacters = characters(to->str(context));
        std::vector<char32_t> result;
        result.reserve(source.size());
        for (char32_t const c : source) {
            auto const found = std::find(fromCharacters.begin(), fromCharacters.end(), c);
            if (found == fromCharacters.end()) {
                result.push_back(c);
            } else if (auto const index = static_cast<std::size_t>(found - fromCharacters.begin());
                       index < toCharacters.size()) {
                result.push_back(toCharacters[index]);
            }
        }
        return stringResult(context, result, 0, result.size());
    }
};

} // namespace

void installStandingFunctions(xalanc::XPathEnvSupportDefault& environment) {
    xalanc::MemoryManager& memory = xalanc::XalanMemMgrs::getDefaultXercesMemMgr();
    XalanDOMString const uri(standingNamespace.data(), memory,
                             static_cast<XalanDOMString::size_type>(standingNamespace.size()));
    auto install = [&](std::u16string_view name, xalanc::Function const& function) {
        XalanDOMString const text(name.data(), memory,
                                  static_cast<XalanDOMString::size_type>(name.size()));
        environment.installExternalFunctionLocal(uri, text, function);
    };
    install(u"round", Round());
    install(u"string-length", StringLength());
    install(u"substring", Substring());
    install(u"translate", Translate());
}

} // namespace trans
