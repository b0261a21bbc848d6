// libFuzzer target: the binary property-list reader, and the round trips of what it accepts; the
// same bytes read object by object through its view, which may never read outside them; and the
// reader's twin of what it reads.

#include "VXBinaryPropertyListReader.h"
#include "VXFuzzRoundTrip.h"
#include "VXPropertyListSerialization.h"

#include <QString>

#include <cmath>

namespace {

// Walks what the view shows, as the commands do: containers, keys, numbers, decoded objects.
// `visits` bounds the walk (shared objects are met again).
void walk(VXBinaryPropertyListView &view, VXBinaryPropertyListView::Object object, int &visits)
{
    if (--visits < 0 || view.isDamaged())
        return;
    const VXBinaryPropertyListView::Container container = view.container(object);
    view.value(object, {QStringLiteral("Active Log"), QStringLiteral("Children")});
    for (std::uint64_t i = 0; i < container.count && visits > 0 && !view.isDamaged(); ++i) {
        if (container.kind == VXBinaryPropertyListView::Kind::Array) {
            (void)view.numberAt(container, i);
            walk(view, view.itemAt(container, i), visits);
        } else {
            walk(view, view.valueAt(container, i), visits);
        }
    }
    if (container.kind == VXBinaryPropertyListView::Kind::Dictionary)
        walk(view, view.valueForKey(container, QStringLiteral("Name")), visits);
}

}   // namespace

int VXFuzzBinary(const std::uint8_t *data, std::size_t size)
{
    const bool accepted = VXFuzzReadAndRoundTrip(data, size, VXPropertyListSerialization::valueFromBinaryData);
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    VXBinaryPropertyListView view(bytes);
    int visits = 2000;
    walk(view, view.root(), visits);
    // What the full reader accepts, the view reads whole and the same, without finding damage.
    if (accepted && VXBinaryPropertyListReader::hasBinaryMagic(bytes)) {
        VXBinaryPropertyListView fresh(bytes);
        const VXValue whole = fresh.value(fresh.root());
        if (fresh.isDamaged() || view.isDamaged()
            || !(whole == VXPropertyListSerialization::valueFromBinaryData(bytes)))
            VXFuzzFail("binary view differs from the reader", QString());
    }
    // Read with its twin, the same tree, and the twin (when there is one) equal to it.
    VXValue twin;
    const VXValue tree = VXBinaryPropertyListReader::read(bytes, &twin);
    if (!(tree == VXBinaryPropertyListReader::read(bytes)) || (!twin.isNull() && !(twin == tree)))
        VXFuzzFail("the reader's twin differs from its tree", QString());
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzBinary(data, size);
}
#endif
