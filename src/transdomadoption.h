// TransDOMImplAdoption: a document value that takes a document its caller parsed and no longer
// needs, instead of copying it. The value is the one the copying constructor makes: the document
// keeps only its element, and its properties are those of a new document. For the project's own
// programs (the tool), which read a document only to query it; not part of the installed
// interface.
#ifndef TRANSDOMADOPTION_H
#define TRANSDOMADOPTION_H

#include "transdomimpl.h"
#include "transexport.h"

#include <memory>

class TRANS_EXPORT TransDOMImplAdoption {
public:
    // Takes the document (null gives the value of no document). A document with a document type
    // is copied and released: its defaults and entities make the copy differ from the original.
    static std::unique_ptr<TransDOMImpl> adopt(xercesc::DOMDocument* document);
};

#endif // TRANSDOMADOPTION_H
