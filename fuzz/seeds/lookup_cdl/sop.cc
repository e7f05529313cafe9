<?xml version="1.0"?>
<ColorCorrection id="x"><SOPNode><!-- a --><Slope>2 1 1</Slope><Offset>-0.5 0.25 0</Offset><Power>1 1 2</Power></SOPNode></ColorCorrection>