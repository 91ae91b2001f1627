/* A message of one's own: a caller, a selector, and the record that goes with them. */
#ifndef EXAMPLE_MESSAGE_H
#define EXAMPLE_MESSAGE_H

#include <RiverKit/MoonVetch/MoonVetch.h>

#define kExampleCaller "Example"
#define kExampleTextSelector "Text"

typedef struct ExampleTextMessage
{
    MVMessageData data; /* first in every record; the host fills it */
    char text[64];      /* the answer */
} ExampleTextMessage;

#endif
