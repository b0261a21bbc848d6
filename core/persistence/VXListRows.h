#pragma once

// Which items have a row in the organizer's two lists. Reports whose content is "the items
// shown in the lists" and exports of the listed items only ask this; the user interface, or
// VXListedItems, answers.

class VXDictionary;

class VXListRows
{
public:
    virtual ~VXListRows() = default;

    // An application or one of its windows.
    virtual bool applicationListHasRowForItem(const VXDictionary &item) const = 0;
    // A pool, one of its members or one of their window entries.
    virtual bool poolListHasRowForItem(const VXDictionary &item) const = 0;
};
