// TransDOMImplReference: the queries of a document value evaluated the straightforward way (a
// prefix resolver walked over the bridged view and both paths parsed for every query). The
// library answers queries from cached structures instead; this stays reachable so that tests can
// prove both give the same results, flags and exceptions.
#ifndef TRANSDOMREFERENCE_H
#define TRANSDOMREFERENCE_H

#include "transdomimpl.h"
#include "transexport.h"

class TRANS_EXPORT TransDOMImplReference {
public:
    static TransString* asString(TransDOMImpl const& value, TransString const& context,
                                 TransString const& path, TransStatus& status);
    static TransStringList* asStringList(TransDOMImpl const& value, TransString const& context,
                                         TransString const& path, TransStatus& status);
    static double asDouble(TransDOMImpl const& value, TransString const& context,
                           TransString const& path, TransStatus& status);
};

#endif // TRANSDOMREFERENCE_H
