// The cow_Btree instantiations the library promises (the name-to-ID map of
// the class registrar, the extent-quantum cache, the int map of lists).
#include "cow/cow_Btree.h"

template class omi_Btree<cow_String, unsigned int>;
template class omi_Btree<cow_String, int>;
template class omi_Btree<int, int>;
template class omi_BtreeIterator<cow_String, unsigned int>;
template class omi_BtreeIterator<cow_String, int>;
template class omi_BtreeIterator<int, int>;
template class cow_Btree<cow_String, unsigned int>;
template class cow_Btree<cow_String, int>;
template class cow_Btree<int, int>;
template class cow_BtreeIterator<cow_String, unsigned int>;
template class cow_BtreeIterator<cow_String, int>;
template class cow_BtreeIterator<int, int>;
template class cow_ListBlock<cow_Btree<int, int>>;
template class cow_List<cow_Btree<int, int>>;
template class cow_ListIter<cow_Btree<int, int>>;
template int cow_List<cow_Btree<int, int>>::FindMember<cow_Btree<int, int>>(const cow_Btree<int, int>&) const;
template bool cow_List<cow_Btree<int, int>>::IsEqual<cow_Btree<int, int>>(const cow_List<cow_Btree<int, int>>&) const;
