// Stochastic transparency: a fragment keeps a pixel with a probability equal to its alpha. The
// mask texture holds, for each alpha level (row), masks whose bits are set in that share; a hash
// of the primitive, the pass and the pixel picks the column.
uniform usampler2D tRandoms;
uniform uint LayerID;
uniform int randMaskSizePowOf2MinusOne;
uniform int randMaskAlphaValues;

vec4 stochasticColor(vec2 fragCoord, vec4 inColor, float idx) {
#if STOCHASTIC
    uint x = uint(fragCoord.x);
    uint y = uint(fragCoord.y);
    uint seed = uint(idx * 32.0) + LayerID + (x << 10) + (y << 20);
    seed = (seed + 0x7ed55d16u) + (seed << 12);
    seed = (seed ^ 0xc761c23cu) ^ (seed >> 19);
    seed = (seed + 0x165667b1u) + (seed << 5);
    seed = (seed + 0xd3a2646cu) ^ (seed << 9);
    seed = (seed + 0xfd7046c5u) + (seed << 3);
    seed = (seed ^ 0xb55a4f09u) ^ (seed >> 16);
    int column = int(seed & uint(randMaskSizePowOf2MinusOne));
    int row = int(clamp(inColor.a, 0.0, 1.0) * float(randMaskAlphaValues));
    uint mask = texelFetch(tRandoms, ivec2(column, row), 0).r;
#if MULTISAMPLE
    gl_SampleMask[0] = int(mask);
#else
    if ((mask & 1u) == 0u) discard;
#endif
#endif
#if OPAQUE
    inColor.a = 1.0;
#endif
    return inColor;
}
