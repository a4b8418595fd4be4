/* The sizes that every compiler must give to the structures of the C interface, and the types of functions. */
#include "orv/c_api.h"

#define HOLDS(name, condition) typedef char name[(condition) ? 1 : -1]

HOLDS(the_size_of_an_item, sizeof(orv_stock_item) == 392);
HOLDS(the_offset_of_values, offsetof(orv_stock_item, values) == 284);
HOLDS(the_offset_of_pixels, offsetof(orv_image, pixels) == 24);
HOLDS(the_size_of_an_image, sizeof(orv_image) == 24 + sizeof(void*));

extern int32_t(ORV_C_CALL* const count)(const orv_config*, uint32_t*);
int32_t(ORV_C_CALL* const count)(const orv_config*, uint32_t*) = &orv_config_count;
