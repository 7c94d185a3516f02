"""How good the pictures are: drawn scenes with truth, keyers of many makers, scores, sheets and a page."""
