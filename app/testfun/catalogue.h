#pragma once
// The catalogue of the quick-test screen: which tests the screen lists, in
// which order. Five built-in demo tests always come first; the device tests
// after them are switched on or off in "config.ini", section "function", and
// keep the program's order whatever the file's order.

#include "widgets/tdynarray.h"

class TestItem;

// A device test that a key of section "function" switches on.
struct CatalogueRow {
    const char* key; // the key in section "function"
    const char* name; // the display name, GBK (the item converts it)
    // Makes the row's test with its display name. Null while the row's test
    // class does not exist yet: the row's key is still read (its value carries
    // over to the next key) but no item is made.
    TestItem* (*create)(char* name);
};

enum : int {
    CATALOGUE_DEMO_ITEMS = 5, // rows 1 to 5
    CATALOGUE_CONFIG_ROWS = 13, // rows 6 to 18
};

// Rows 6 to 18, in the order of the screen.
extern const CatalogueRow g_catalogueRows[CATALOGUE_CONFIG_ROWS];

// Fills items (heap objects that the caller owns and deletes) from
// "config.ini" in the working directory. When the file cannot be read,
// prints "[Error] open config.ini fails." and leaves items empty. Returns 0,
// or -1 for an unreadable file.
int initTestItems(TDynArray<TestItem*>& items);

// The same, also telling for each of rows 6 to 18 whether the file switched
// it on (decided[i] is row 6 + i), whether or not the row's test class exists
// yet. For the tests of the catalogue's reading rules.
int initTestItems(TDynArray<TestItem*>& items, bool (&decided)[CATALOGUE_CONFIG_ROWS]);
