#include "transvalueimpl.h"

TransValueImpl::~TransValueImpl() = default;
