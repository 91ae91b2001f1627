// What the lists of the host share: fields that are read and written for callers, and iterators with stamps.
#pragma once

#include "MVBlocks.h"
#include "MVError.h"

/// The field goes to outValue, which is set to nothing first.
template <class Record, class Field, class Value>
MVResult mvGetField(const Record* inRecord, Field Record::* inField, Value* outValue)
{
    if (outValue == nullptr)
        return kMVBadParameterError;
    *outValue = {};
    if (inRecord == nullptr)
        return kMVBadParameterError;
    *outValue = inRecord->*inField;
    return kMVNoError;
}

template <class Record, class Field>
MVResult mvSetField(Record* ioRecord, Field Record::* inField, Field inValue)
{
    if (ioRecord == nullptr)
        return kMVBadParameterError;
    ioRecord->*inField = inValue;
    return kMVNoError;
}

/// Makes an iterator that stands before the first record of a list.
template <class List, class Iterator>
MVResult mvNewIterator(List* inList, const char* inDebug, Iterator** outIterator)
{
    if (outIterator == nullptr)
        return kMVBadParameterError;
    *outIterator = nullptr;
    if (inList == nullptr)
        return kMVBadParameterError;
    const MVResult result = mvIntAllocateRecord(inDebug, outIterator);
    if (result != kMVNoError)
        return result;
    (*outIterator)->list = inList;
    (*outIterator)->current = inList->head;
    (*outIterator)->stamp = inList->stamp;
    return kMVNoError;
}

/// @param inStale  raised if the list was changed since the iterator was made.
template <class Iterator, class Record>
MVResult mvNextOfIterator(Iterator* ioIterator, MVResult inStale, Record** outRecord)
{
    if (outRecord == nullptr)
        return kMVBadParameterError;
    *outRecord = nullptr;
    if (ioIterator == nullptr)
        return kMVBadParameterError;
    if (ioIterator->stamp != ioIterator->list->stamp)
        return mvRaise(inStale);
    *outRecord = ioIterator->current;
    if (ioIterator->current != nullptr)
        ioIterator->current = ioIterator->current->next;
    return kMVNoError;
}

template <class Iterator>
MVResult mvDeleteIterator(Iterator* inIterator)
{
    return inIterator != nullptr ? mvIntFreeBlock(inIterator) : kMVBadParameterError;
}
