/* The public header must compile as plain C99. */
#include <stddef.h>
#include <tovrel.h>

size_t tovrel_c_descriptor_size(void) { return sizeof(image_descriptor); }
size_t tovrel_c_alpha_pitch_offset(void) { return offsetof(image_descriptor, alpha_pitch); }
