#pragma once
// Builds the hierarchy scanner's view dictionaries from JSON, so that a fuzzer can make any
// dictionary the drawing may meet, values of the wrong kind included.
//
// A view is an object whose members become the dictionary's entries, by key:
//   "screenRect", "clipToRect": [x, y, w, h] is a stored rectangle
//   "isTypeOf": the name of a type constant ("typeLabel", ...) is that tag
//   "backgroundColour", "foregroundColour": [r, g, b, a] is a colour
//   "font": a number is the system font of that size
//   "views": an array of objects is the children
//   "viewTitle": an object is the title dictionary (its own keys, read the same way)
//   "attributedText": a string is text with a 20-point red font
//   "directImage": [w, h] is a solid image of that many pixels (at most 64 a side)
//   "typeRNTextView": a string is a text storage laid out in a 200 x 40 container
// Anything else, and any value of another shape under these keys, is stored as the plain kind
// it is: bool, number, string, a nested dictionary for an object, an opaque object for null or
// an array.

#include <nlohmann/json.hpp>

#include "services/HVHierarchyDictionary.h"

namespace zerva::fuzzing {

/// `depth` bounds nested dictionaries and children: deeper ones are left out.
HVHierarchyDictionary hierarchyFromJSON(const nlohmann::json& view, int depth = 32);

}  // namespace zerva::fuzzing
