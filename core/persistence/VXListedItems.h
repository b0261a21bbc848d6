#pragma once

// The rows of the organizer lists, worked out from the lists' items as an outline shows them:
// every top-level item has a row, and the children of an item (its "Children") have rows when
// the item has a row and is expanded ("Expanded").
//
//     Mail            (row)                 Pool A          (row)
//       Inbox         (row, Mail expanded)    Mail          (row, Pool A expanded)
//     Editor          (row)                     Drafts*     (no row: Mail collapsed)
//       notes.txt     (no row: collapsed)
//
// The membership is taken when the object is made: make a new one after the lists change.

#include "VXListRows.h"
#include "VXValue.h"

#include <unordered_set>

class VXListedItems final : public VXListRows
{
public:
    // From the organizer's sorted lists (the controller's applicationArray() and poolArray()).
    // A null list has no rows.
    VXListedItems(const VXArray *applicationList, const VXArray *poolList);

    // From a saved tree, without a running organizer: the tracker leaves "Children" on exactly
    // the applications it lists (the windows it lists in it), and lists a pool when it is active
    // or inactive pools are shown.
    static VXListedItems fromConfiguration(const VXDictionary &configuration, bool showInactivePools);

    bool applicationListHasRowForItem(const VXDictionary &item) const override;
    bool poolListHasRowForItem(const VXDictionary &item) const override;

private:
    VXListedItems() = default;
    static void addRows(const VXArray *items, std::unordered_set<const VXDictionary *> &rows);

    std::unordered_set<const VXDictionary *> m_applicationRows;
    std::unordered_set<const VXDictionary *> m_poolRows;
};
