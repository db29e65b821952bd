// The trie the framework keeps from ints to object identities.
#include "cls/cls_PTrie.h"

template class cls_PTrieNode<int, cls_Uid, 1>;
template class cls_PTrieInternalNode<int, cls_Uid, 1>;
template class cls_PTrieLeafNode<int, cls_Uid, 1>;
template class cls_PTrie<int, cls_Uid, 1>;
template class cls_PTrieIter<int, cls_Uid, 1>;
