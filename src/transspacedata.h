// TransSpace::Data: a space's values and image lists, and the initialisation of the XML libraries
// that they need.
//
// Members are constructed in declaration order and destroyed in reverse, so the stored values
// (documents included) are always destroyed while the XML libraries are still up, and a
// constructor that throws undoes the initialisations made before it.
#ifndef TRANSSPACEDATA_H
#define TRANSSPACEDATA_H

#include "transimage.h"
#include "transspace.h"
#include "transstring.h"
#include "transvalue.h"

#include <map>
#include <vector>
#include <xalanc/XalanSourceTree/XalanSourceTreeInit.hpp>

class TransSpace::Data {
public:
    // Initialises the XML parser library; the library counts nested calls itself.
    class XMLPlatformInit {
    public:
        XMLPlatformInit();
        virtual ~XMLPlatformInit();
        XMLPlatformInit(XMLPlatformInit const&) = delete;
        XMLPlatformInit& operator=(XMLPlatformInit const&) = delete;
    };

    // Initialises the XPath evaluator. The evaluator does not count nested initialisations (a
    // second initialize or terminate crashes), so live initialisers are counted process-wide: the
    // first one initialises, the last one terminates.
    class XPathEvaluatorInit {
    public:
        XPathEvaluatorInit();
        virtual ~XPathEvaluatorInit();
        XPathEvaluatorInit(XPathEvaluatorInit const&) = delete;
        XPathEvaluatorInit& operator=(XPathEvaluatorInit const&) = delete;
    };

    using Values = std::map<TransString, TransValue>;
    using Images = std::map<TransString, std::vector<TransImage>>;

    Data();

    XMLPlatformInit xmlPlatformInit;
    XPathEvaluatorInit xpathEvaluatorInit;
    xalanc::XalanSourceTreeInit sourceTreeInit;
    Values values;
    TransValue emptyValue;
    Images images;
    TransImage emptyImage;
};

#endif // TRANSSPACEDATA_H
