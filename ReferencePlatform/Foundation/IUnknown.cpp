#include "IUnknown.h"

IUnknown::IUnknown() = default;
IUnknown::~IUnknown() = default;
