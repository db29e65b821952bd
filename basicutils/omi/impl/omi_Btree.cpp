// Balancing of omi_Btree (and of cow_Btree, which shares its nodes): the AVL
// rotations and the in-order walk, written once over omi_BtreeLink.
#include "omi/omi_Btree.h"

namespace {

int Height(const omi_BtreeLink* n) { return n ? n->m_Height : 0; }

void Update(omi_BtreeLink* n) {
  int l = Height(n->m_Left), r = Height(n->m_Right);
  n->m_Height = (l > r ? l : r) + 1;
}

omi_BtreeLink* RotateRight(omi_BtreeLink* n) {
  omi_BtreeLink* l = n->m_Left;
  n->m_Left = l->m_Right;
  l->m_Right = n;
  Update(n);
  Update(l);
  return l;
}

omi_BtreeLink* RotateLeft(omi_BtreeLink* n) {
  omi_BtreeLink* r = n->m_Right;
  n->m_Right = r->m_Left;
  r->m_Left = n;
  Update(n);
  Update(r);
  return r;
}

// Restores the AVL condition at n, whose subtrees are balanced and differ in
// height by at most two; returns the subtree's new root.
omi_BtreeLink* Balance(omi_BtreeLink* n) {
  Update(n);
  int diff = Height(n->m_Left) - Height(n->m_Right);
  if (diff > 1) {
    if (Height(n->m_Left->m_Left) < Height(n->m_Left->m_Right)) n->m_Left = RotateLeft(n->m_Left);
    return RotateRight(n);
  }
  if (diff < -1) {
    if (Height(n->m_Right->m_Right) < Height(n->m_Right->m_Left)) n->m_Right = RotateRight(n->m_Right);
    return RotateLeft(n);
  }
  return n;
}

// Rebalances every node on the path from path[from] up to the root.
void Rebalance(omi_BtreeLink** path[], int from) {
  for (int i = from; i >= 0; --i) {
    omi_BtreeLink* n = *path[i];
    int before = n->m_Height;
    omi_BtreeLink* b = Balance(n);
    *path[i] = b;
    // Nothing above can change once a subtree keeps both its root and height.
    if (b == n && b->m_Height == before) break;
  }
}

}  // namespace

void omi_BtreeUtils::AfterInsert(omi_BtreeLink** path[], int depth) { Rebalance(path, depth - 1); }

omi_BtreeLink* omi_BtreeUtils::Unlink(omi_BtreeLink** path[], int depth) {
  omi_BtreeLink* n = *path[depth];
  if (n->m_Left == nullptr || n->m_Right == nullptr) {
    *path[depth] = n->m_Left ? n->m_Left : n->m_Right;
    Rebalance(path, depth - 1);
    return n;
  }
  // Two children: the successor (leftmost of the right subtree) takes n's place.
  int d = depth + 1;
  path[d] = &n->m_Right;
  while ((*path[d])->m_Left != nullptr) {
    path[d + 1] = &(*path[d])->m_Left;
    ++d;
  }
  omi_BtreeLink* s = *path[d];
  *path[d] = s->m_Right;
  s->m_Left = n->m_Left;
  s->m_Right = n->m_Right;
  s->m_Height = n->m_Height;
  *path[depth] = s;
  // The slot below n's position now belongs to s.
  path[depth + 1] = &s->m_Right;
  Rebalance(path, d - 1);
  return n;
}

void omi_BtreeWalk::PushLeft(const omi_BtreeLink* n) {
  while (n != nullptr) {
    m_Stack[m_Depth++] = n;
    n = n->m_Left;
  }
}

void omi_BtreeWalk::Start(const omi_BtreeLink* root) {
  m_Depth = 0;
  PushLeft(root);
  m_Current = m_Depth ? m_Stack[--m_Depth] : nullptr;
}

void omi_BtreeWalk::Advance() {
  if (m_Current == nullptr) return;
  PushLeft(m_Current->m_Right);
  m_Current = m_Depth ? m_Stack[--m_Depth] : nullptr;
}
