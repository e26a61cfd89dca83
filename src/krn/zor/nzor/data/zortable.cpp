#include "data/zortable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "data/zorfieldslot.h"

namespace {

/** Rows for which a new table has room, unless they would take more bytes than the limit. */
constexpr unsigned firstRows = 100;
constexpr size_t firstBytes = size_t{1} << 20;

/** Up to so many lent rows are found by looking at each. */
constexpr unsigned scannedViews = 4;

/** The private description of a table of elementary rows. */
ZorMetaDataRef<ZorRecordMetaData> elementaryRow(ZORTYPE type, unsigned width,
                                                unsigned short partnerCharSize) {
    constexpr std::string_view rowName = "TABLE_ROW";
    if ((type != ZORTYPE_CHAR && type != ZORTYPE_BYTE) || partnerCharSize == 0)
        throw ZorIllegalStateException("Invalid structure descriptor");
    const unsigned nucLength = type == ZORTYPE_CHAR ? width / partnerCharSize : width;
    auto desc = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(rowName, rowName, 1, false);
    desc->add("ROW_FIELD", type, nucLength, 0, width, 0, 0);
    desc->setRecordLength(nucLength, width);
    return desc;
}

}  // namespace

ZorTable::ZorTable(ZorRecordMetaData* desc) : initRow(desc) {
    bindFields();
    if (getRowLength() == 0) throw ZorIllegalStateException("Invalid structure descriptor");
    makeRoom(static_cast<unsigned>(std::clamp<size_t>(firstBytes / getRowLength(), 1, firstRows)));
}

ZorTable::ZorTable(ZORTYPE type, unsigned width, unsigned short partnerCharSize)
    : ZorTable(elementaryRow(type, width, partnerCharSize).get()) {}

ZorTable::ZorTable(const ZorTable& other) : ZorTable(other.getRowType()) {
    traceLevel = other.traceLevel;
    deltaState = other.deltaState;
    makeRoom(other.tabSize);
    const size_t rowLength = getRowLength();
    std::memcpy(rows.get(), other.rows.get(), other.tabSize * rowLength);
    if (!getRowType()->holdsChildren()) {
        place(other.tabSize, 0);
        return;
    }
    // Row by row, so that the destructor of a copy that fails half-way knows what it owns.
    for (unsigned index = 0; index < other.tabSize; place(++index, 0))
        cloneChildren(*getRowType(), other.rows.get() + index * rowLength, rowAddress(index));
}

ZorTable& ZorTable::operator=(const ZorTable& other) {
    if (this == &other) return *this;
    // The old content goes last: the other may be part of it.
    ZorTable copy(other);
    recallViews();
    std::swap(initRow.ownDesc, copy.initRow.ownDesc);
    std::swap(initRow.bytes, copy.initRow.bytes);
    initRow.bindTo(initRow.ownDesc.get());
    copy.initRow.bindTo(copy.initRow.ownDesc.get());
    std::swap(rows, copy.rows);
    std::swap(capacity, copy.capacity);
    const unsigned oldCount = tabSize;
    place(copy.tabSize, 0);
    copy.place(oldCount, 0);
    for (const auto& view : views)
        view->bindTo(getRowType());
    bindFields();
    traceLevel = other.traceLevel;
    deltaState = other.deltaState;
    inDeserialization = other.inDeserialization;
    return *this;
}

void ZorTable::bindFields() noexcept {
    const ZorRecordMetaData* const rowType = getRowType();
    fieldCount = initRow.getFieldCount();
    names = rowType != nullptr ? &rowType->getNameIndex() : nullptr;
    blockFields = rowType != nullptr ? rowType->getFields() : nullptr;
}

ZorTable::~ZorTable() {
    destroyRows();
}

void ZorTable::destroyRows() noexcept {
    const ZorRecordMetaData* desc = getRowType();
    if (desc != nullptr && desc->holdsChildren())
        for (unsigned index = 0; index < tabSize; ++index)
            destroyChildren(*desc, rowAddress(index));
    place(0, 0);
}

ZorFieldSlot ZorTable::locate(unsigned index) {
    if (tabSize == 0)
        throw ZorIllegalStateException(
            "Trying to access row values in a table which does not have any rows yet");
    if (currentIndex >= tabSize)
        throw ZorIllegalStateException("Trying to access row values beyond end of table");
    const ZorRecordFieldType& field = (*initRow.desc)[index];
    return {field, rowAddress(currentIndex) + field.offset1, nullptr};
}

// --- Row objects

KEL_RAW* ZorTable::viewedRow(unsigned index) {
    if (index >= tabSize) throw ZorIllegalStateException("Trying to access row values beyond end of table");
    return rowAddress(index);
}

ZorStructure* ZorTable::getRow() {
    return currentIndex < tabSize ? &row(currentIndex) : nullptr;
}

ZorStructure* ZorTable::lentView(unsigned index) const noexcept {
    if (lent > scannedViews) {
        const auto found = lentByRow.find(index);
        return found != lentByRow.end() ? found->second : nullptr;
    }
    for (unsigned at = 0; at < lent; ++at)
        if (views[at]->row == index) return views[at].get();
    return nullptr;
}

void ZorTable::makeView() {
    if (views.empty()) views.push_back(std::make_unique<ZorStructure>(*this, 0));
}

ZorStructure& ZorTable::row(unsigned index) {
    if (ZorStructure* view = lentView(index)) return *view;
    if (lent == views.size()) views.push_back(std::make_unique<ZorStructure>(*this, index));
    ZorStructure* const view = views[lent].get();
    view->show(index, rowAddress(index));
    if (lent == scannedViews)
        for (unsigned at = 0; at < lent; ++at)
            lentByRow.emplace(views[at]->row, views[at].get());
    if (lent >= scannedViews) lentByRow.emplace(index, view);
    ++lent;
    return *view;
}

void ZorTable::recallViews() noexcept {
    // From now on each access through them has to ask whether the table still has such a row.
    for (unsigned at = 0; at < lent; ++at)
        views[at]->show(views[at]->row, nullptr);
    lent = 0;
    // A map that once was large would be slow to clear each time.
    if (!lentByRow.empty()) lentByRow = {};
}

// --- Moving

ZOR_RC ZorTable::moveToFirstRow() noexcept {
    if (tabSize == 0) return ZOR_TABLE_MOVE_BOF;
    place(tabSize, 0);
    return ZOR_OK;
}

ZOR_RC ZorTable::moveToLastRow() noexcept {
    if (tabSize == 0) return ZOR_TABLE_MOVE_EOF;
    place(tabSize, tabSize - 1);
    return ZOR_OK;
}

ZOR_RC ZorTable::moveToNextRow() noexcept {
    if (currentIndex < tabSize) place(tabSize, currentIndex + 1);
    return currentIndex < tabSize ? ZOR_OK : ZOR_TABLE_MOVE_EOF;
}

ZOR_RC ZorTable::moveToPreviousRow() noexcept {
    if (currentIndex == 0) return ZOR_TABLE_MOVE_BOF;
    place(tabSize, currentIndex - 1);
    return ZOR_OK;
}

ZOR_RC ZorTable::moveTo(unsigned index) noexcept {
    if (index >= tabSize) return ZOR_TABLE_MOVE_EOF;
    place(tabSize, index);
    return ZOR_OK;
}

// --- Adding and removing

void ZorTable::makeRoom(unsigned count) {
    if (count <= capacity - tabSize) return;
    constexpr unsigned mostRows = std::numeric_limits<unsigned>::max();
    if (count > mostRows - tabSize) throw std::bad_alloc();
    const unsigned doubled = capacity > mostRows / 2 ? mostRows : capacity * 2;
    const unsigned wanted = std::max(tabSize + count, doubled);
    const size_t rowLength = getRowLength();
    constexpr size_t mostBytes = std::numeric_limits<std::ptrdiff_t>::max();
    if (wanted > mostBytes / rowLength) throw std::bad_alloc();
    auto grown = std::make_unique_for_overwrite<KEL_RAW[]>(wanted * rowLength);
    if (tabSize > 0) std::memcpy(grown.get(), rows.get(), tabSize * rowLength);
    rows = std::move(grown);
    capacity = wanted;
    place(tabSize, currentIndex);
    for (unsigned at = 0; at < lent; ++at)
        views[at]->show(views[at]->row, rowAddress(views[at]->row));
}

ZorStructure& ZorTable::appendNewRow() {
    makeView();
    createNewRows(1);
    return row(currentIndex);
}

void ZorTable::createNewRows(unsigned count) {
    if (count == 0) return;
    makeRoom(count);
    recallViews();
    const size_t rowLength = getRowLength();
    KEL_RAW* at = rowAddress(tabSize);
    for (unsigned made = 0; made < count; ++made, at += rowLength)
        std::memcpy(at, initRow.bytes.get(), rowLength);
    place(tabSize + count, tabSize);
}

void ZorTable::checkRowType(const ZorStructure& row) const {
    const ZorRecordMetaData* rowType = row.getDescriptor();
    if (rowType != getRowType() && (rowType == nullptr || !(*rowType == *getRowType())))
        throw ZorInvalidParameterException("Row type does not match the type of the table");
}

void ZorTable::placeCopy(unsigned index, const ZorStructure& row) {
    // After the growth: the row may be one of this table, whose bytes have moved.
    const KEL_RAW* source = row.getBuffer();
    KEL_RAW* target = rowAddress(index);
    // Equal descriptions have the same fields, but may differ in the bytes behind the last one.
    const unsigned common = std::min(row.getLength(), getRowLength());
    std::memcpy(target, source, common);
    std::memcpy(target + common, initRow.bytes.get() + common, getRowLength() - common);
    if (getRowType()->holdsChildren()) cloneChildren(*getRowType(), source, target);
}

void ZorTable::appendRow(const ZorStructure& row) {
    checkRowType(row);
    makeRoom(1);
    placeCopy(tabSize, row);
    recallViews();
    place(tabSize + 1, currentIndex);
}

void ZorTable::rotateIn(unsigned from) noexcept {
    const size_t rowLength = getRowLength();
    KEL_RAW* gap = rowAddress(currentIndex);
    std::memmove(gap + rowLength, gap, (tabSize - currentIndex) * rowLength);
    std::memcpy(gap, rowAddress(from), rowLength);
    recallViews();
    place(tabSize + 1, currentIndex);
}

void ZorTable::insertRow(const ZorStructure& row) {
    checkRowType(row);
    // The copy is made behind the room that the rows will take, so that a failure moves nothing.
    makeRoom(2);
    const unsigned spare = tabSize + 1;
    placeCopy(spare, row);
    rotateIn(spare);
}

ZorStructure& ZorTable::insertNewRow() {
    makeView();
    insertRow(initRow);
    return row(currentIndex);
}

void ZorTable::removeRow() noexcept {
    if (currentIndex >= tabSize) return;
    recallViews();
    KEL_RAW* gap = rowAddress(currentIndex);
    if (getRowType()->holdsChildren()) destroyChildren(*getRowType(), gap);
    place(tabSize - 1, currentIndex);
    std::memmove(gap, gap + getRowLength(), (tabSize - currentIndex) * size_t{getRowLength()});
}

void ZorTable::removeAll() noexcept {
    recallViews();
    destroyRows();
}

void ZorTable::prepareForRead() noexcept {
    removeAll();
    inDeserialization = true;
}

KEL_RAW* ZorTable::appendRowForRead() {
    makeRoom(1);
    recallViews();
    KEL_RAW* const target = rowAddress(tabSize);
    place(tabSize + 1, currentIndex);
    std::memcpy(target, initRow.bytes.get(), getRowLength());
    return target;
}
