// One full-screen step over a pass's image: weighted copy, with the pass depth (DEPTH_CULL_MODE),
// as coverage (ONE_MINUS_ALPHA_MODE), or the mean of a multisampled image (MULTISAMPLE), scaled
// to the exact transmittance (ALPHA_CORRECTION).
in vec2 texCoord;
out vec4 outColor;
uniform float frameWeight;
#if MULTISAMPLE
uniform sampler2DMS frameTex;
uniform int num_msaa;
#else
uniform sampler2D frameTex;
#endif
#if DEPTH_CULL_MODE
uniform sampler2D depthTex;
#endif
#if ALPHA_CORRECTION
uniform sampler2D tTransmittance;
#endif

void main() {
#if MULTISAMPLE
    ivec2 p = ivec2(gl_FragCoord.xy);
    vec4 c = vec4(0.0);
    for (int i = 0; i < num_msaa; ++i) c += texelFetch(frameTex, p, i);
    c /= float(num_msaa);
#else
    vec4 c = texture(frameTex, texCoord.xy);
#endif
#if ONE_MINUS_ALPHA_MODE
    outColor = vec4(0.0, 0.0, 0.0, (1.0 - c.a) * frameWeight);
#else
    c *= frameWeight;
#if ALPHA_CORRECTION
    if (c.a > 0.0) c *= texture(tTransmittance, texCoord).a / c.a;
#endif
    outColor = c;
#endif
#if DEPTH_CULL_MODE
    gl_FragDepth = texture(depthTex, texCoord.xy).r;
#endif
}
