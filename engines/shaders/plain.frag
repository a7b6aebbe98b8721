// Triangles, facets and beams: the interpolated colour.
in vec4 fColor;
flat in float fIdx;
out vec4 outColor;

vec4 stochasticColor(vec2 fragCoord, vec4 inColor, float idx);

void main() {
    outColor = stochasticColor(gl_FragCoord.xy, fColor, fIdx);
}
