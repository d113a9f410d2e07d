/// TransSpace: a store of values and image lists under trimmed, case-insensitive handles.
///
/// A space keeps the XML libraries initialised for its lifetime: document values may only be
/// built, copied, written or queried while a space is alive (or while the caller has initialised
/// those libraries itself). Spaces must be created and destroyed by one thread at a time; a space
/// must not be used from two threads at once, not even through const operations.
///
/// Handles are trimmed before use; two handles that differ only in letter case (in the LC_CTYPE
/// locale) or surrounding white space name the same entry, which keeps the letter case of the
/// handle it was added with. A blank handle fails with failure and warning.
///
/// The forms without a status stop the process with an assertion when the operation fails.
#ifndef TRANSSPACE_H
#define TRANSSPACE_H

#include "transexport.h"
#include "transimage.h"
#include "transstatus.h"
#include "transstring.h"
#include "transstringlist.h"
#include "transvalue.h"

#include <memory>

class TRANS_EXPORT TransSpace {
public:
    /// An empty space; initialises the XML parser library, the XPath evaluator and the source-tree
    /// support. Throws what their initialisation throws, undoing what was done.
    TransSpace();
    /// Destroys the stored values and images, then terminates the XML libraries.
    ~TransSpace();
    TransSpace(TransSpace const&) = delete;
    TransSpace& operator=(TransSpace const&) = delete;

    /// Stores a deep copy of value. False with failure and warning when the handle is already
    /// present (the stored value stays) or blank.
    ///@{
    bool add(TransString const& handle, TransValue const& value, TransStatus& status);
    bool add(TransString const& handle, TransValue const& value);
    ///@}
    /// False with failure and warning when no entry was removed.
    ///@{
    bool remove(TransString const& handle, TransStatus& status);
    bool remove(TransString const& handle);
    ///@}
    /// False with the warning alone when absent; failure and warning when the handle is blank.
    ///@{
    bool exists(TransString const& handle, TransStatus& status) const;
    bool exists(TransString const& handle) const;
    ///@}
    /// The stored value, valid until it is removed or the space is destroyed; when absent, a null
    /// value with failure and warning.
    ///@{
    TransValue const& find(TransString const& handle, TransStatus& status) const;
    TransValue const& find(TransString const& handle) const;
    ///@}
    /// A new list of every handle in case-insensitive order, owned by the caller; warning when the
    /// space is empty.
    ///@{
    TransStringList* list(TransStatus& status) const;
    TransStringList* list() const;
    ///@}

    /// Deletes a string or list that the library returned and nulls the pointer; warning for a
    /// null pointer.
    ///@{
    static void releaseString(TransString*& string, TransStatus& status);
    static void releaseString(TransString*& string);
    static void releaseStringList(TransStringList*& strings, TransStatus& status);
    static void releaseStringList(TransStringList*& strings);
    ///@}

    /// Appends a copy of image to the handle's list, creating the list. False with failure and
    /// warning for a blank handle.
    bool addImage(TransString const& handle, TransImage const& image, TransStatus& status);
    /// Removes the first image whose trimmed name equals the trimmed name, byte for byte in the
    /// process code page. The handle's (possibly empty) list stays.
    bool removeImage(TransString const& handle, TransString const& name, TransStatus& status);
    /// Removes the value and the image list under the handle; true when a value was removed
    /// (failure and warning otherwise).
    bool removeAll(TransString const& handle, TransStatus& status);
    /// True when the handle's list holds an image of that name.
    bool existsImage(TransString const& handle, TransString const& name, TransStatus& status) const;
    /// The first stored image of that name, valid until the handle's list changes; otherwise an
    /// empty image (failure and warning when the handle has no list).
    TransImage const& findImage(TransString const& handle, TransString const& name,
                                TransStatus& status) const;

private:
    class Data;
    std::unique_ptr<Data> data_;
};

#endif // TRANSSPACE_H
