#include "vendor/vendor_state.h"

VendorState vendorState;
